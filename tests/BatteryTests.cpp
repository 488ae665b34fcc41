#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ZQMHelper/Shared/BatteryReader.h"
#include "tests/fakes/MachinePlatform.h"

// Whole batteries are described machines; here stand the choices that these do not make.

namespace zqm {
namespace {

BatteryMetrics sample(const std::string& description) {
    DescribedPlatform machine(description);
    return BatteryReader().sample();
}

TEST(BatteryReader, TellsTheTimeThatTheStateAsksFor) {
    for (const auto& [state, minutes] : std::initializer_list<std::pair<std::string, std::int64_t>>{
             {R"("Is Charging": false, "Time to Empty": 245, "Time to Full Charge": 9)", 245},
             {R"("Is Charging": true, "Power Source State": "AC Power", "Time to Empty": 7, "Time to Full Charge": 1)",
              1},
             {R"("Is Charging": true, "Time to Full Charge": 0)", -1},
             {R"("Is Charging": true, "Time to Full Charge": 35.0)", -1},
             {R"("Power Source State": "AC Power", "Time to Empty": 5)", -1},
             {R"("Time to Empty": -1)", -1},
         }) {
        const auto battery = sample(R"({"powerSources": {"sources": [{"Type": "UPS", "Time to Empty": 9}, null,
            {"Type": "InternalBattery", )" +
                                    state + "}]}}");
        EXPECT_TRUE(battery.isPresent);
        EXPECT_EQ(battery.timeRemainingMinutes, minutes) << state;
        EXPECT_EQ(battery.isCharging, state.starts_with(R"("Is Charging": true)")) << state;
    }
}

TEST(BatteryReader, ReadsTheGauge) {
    // Health; Wh at most and as designed; W.
    for (
        const auto& [properties, figures] : std::initializer_list<std::pair<std::string, std::array<double, 4>>>{
            {R"("DesignCapacity": 5000, "AppleRawMaxCapacity": 4500, "Voltage": 12500, "InstantAmperage": -1200,
                 "NominalChargeCapacity": 1, "AppleRawBatteryVoltage": 1, "Amperage": 1)",
             {0.9, 56.25, 62.5, 15}},
            {R"("DesignCapacity": 5000, "NominalChargeCapacity": 4500, "AppleRawBatteryVoltage": 12500, "Amperage": 1200)",
             {0.9, 56.25, 62.5, 15}},
            {R"("DesignCapacity": 5000, "AppleRawMaxCapacity": 4500, "Voltage": 0, "InstantAmperage": 1)",
             {0.9, 0, 0, 0}},
            {R"("DesignCapacity": -5000, "AppleRawMaxCapacity": 4500, "Voltage": -12500)", {0, 0, 0, 0}},
            {R"("DesignCapacity": 0, "AppleRawMaxCapacity": 4500, "Voltage": 10000)", {0, 45, 0, 0}},
            {R"("DesignCapacity": 1e-300, "AppleRawMaxCapacity": 1e308, "Voltage": 1e308, "Amperage": 1e308)",
             {0, 0, 100, 0}}}) {
        const auto battery = sample(R"({"registry": {"AppleSmartBattery": [{"name": "g", "properties": {)" +
                                    properties + R"(}}, {"name": "other", "properties": {"CycleCount": 9}}]}})");
        const std::array told{battery.health, battery.maxCapacityWh, battery.designCapacityWh, battery.powerWatts};
        EXPECT_THAT(told, testing::Pointwise(testing::DoubleEq(), figures)) << properties;
        EXPECT_EQ(battery.cycleCount, 0) << properties;
    }
}

}  // namespace
}  // namespace zqm
