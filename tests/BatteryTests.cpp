#include <gtest/gtest.h>

#include <limits>

#include "ZQMHelper/Shared/BatteryReader.h"
#include "tests/fakes/MachinePlatform.h"

namespace zqm {
namespace {

BatteryMetrics sample(const std::string& description) {
    DescribedPlatform machine(description);
    return BatteryReader().sample();
}

TEST(BatteryReader, ReadsThePowerSources) {
    struct Case {
        const char* sources;
        bool isPresent, isCharging, onACPower;
        double level;
        std::int64_t minutes;
    };
    for (
        const auto& [sources, isPresent, isCharging, onACPower, level, minutes] : std::initializer_list<Case>{
            {R"([{"Type": "InternalBattery", "Current Capacity": 80, "Max Capacity": 100, "Is Charging": false,
                  "Power Source State": "Battery Power", "Time to Empty": 245, "Time to Full Charge": 9}])",
             true, false, false, 0.8, 245},
            {R"([{"Type": "InternalBattery", "Is Charging": true, "Power Source State": "AC Power", "Time to Empty": 7,
                  "Time to Full Charge": 35}])",
             true, true, true, 0, 35},
            {R"([{"Type": "InternalBattery", "Is Charging": true, "Time to Full Charge": 0}])", true, true, false, 0,
             -1},
            {R"([{"Type": "InternalBattery", "Is Charging": true}])", true, true, false, 0, -1},
            {R"([{"Type": "InternalBattery", "Is Charging": true, "Time to Full Charge": 35.0}])", true, true, false, 0,
             -1},
            {R"([{"Type": "InternalBattery", "Power Source State": "AC Power", "Time to Empty": 5}])", true, false,
             true, 0, -1},
            {R"([{"Type": "InternalBattery", "Time to Empty": -1}])", true, false, false, 0, -1},
            {R"([{"Type": "InternalBattery", "Time to Empty": 0}])", true, false, false, 0, -1},
            // Capacities that are no level, and flags and texts of other types.
            {R"([{"Type": "InternalBattery", "Current Capacity": 80, "Max Capacity": 0}])", true, false, false, 0, -1},
            {R"([{"Type": "InternalBattery", "Current Capacity": 80, "Max Capacity": -5}])", true, false, false, 0, -1},
            {R"([{"Type": "InternalBattery", "Current Capacity": "80", "Max Capacity": 100, "Is Charging": 1,
                  "Power Source State": true}])",
             true, false, false, 0, -1},
            {R"([{"Type": "InternalBattery", "Current Capacity": 1e308, "Max Capacity": 1e-308}])", true, false, false,
             0, -1},
            // Only internal batteries count, the last of several decides what it sets.
            {R"([{"Type": "UPS", "Current Capacity": 1, "Max Capacity": 2}, null, {"Current Capacity": 1, "Max Capacity": 2}])",
             false, false, false, 0, -1},
            {R"([{"Type": "InternalBattery", "Current Capacity": 50, "Max Capacity": 100, "Is Charging": true,
                  "Power Source State": "AC Power"}, {"Type": "InternalBattery", "Current Capacity": 1, "Time to Empty": 3}])",
             true, false, false, 0.5, 3},
            {"[]", false, false, false, 0, -1},
            {"null", false, false, false, 0, -1},
        }) {
        const auto battery = sample(std::string(R"({"powerSources": {"sources": )") + sources + "}}");
        EXPECT_EQ(battery.isPresent, isPresent) << sources;
        EXPECT_EQ(battery.isCharging, isCharging) << sources;
        EXPECT_EQ(battery.onACPower, onACPower) << sources;
        EXPECT_DOUBLE_EQ(battery.level, level) << sources;
        EXPECT_EQ(battery.timeRemainingMinutes, minutes) << sources;
    }
}

TEST(BatteryReader, ReadsTheGauge) {
    constexpr auto most = std::numeric_limits<std::int64_t>::max();
    struct Case {
        const char* properties;
        double health, maximum, design, watts;  // Wh, W
        std::int64_t cycles;
    };
    for (
        const auto& [properties, health, maximum, design, watts, cycles] : std::initializer_list<Case>{
            {R"({"DesignCapacity": 5000, "AppleRawMaxCapacity": 4500, "Voltage": 12500, "InstantAmperage": -1200,
                 "CycleCount": 58, "NominalChargeCapacity": 1, "AppleRawBatteryVoltage": 1, "Amperage": 1})",
             0.9, 56.25, 62.5, 15, 58},
            {R"({"DesignCapacity": 5000, "NominalChargeCapacity": 4500, "AppleRawBatteryVoltage": 12500, "Amperage": 1200})",
             0.9, 56.25, 62.5, 15, 0},
            {R"({"AppleRawMaxCapacity": "4500", "NominalChargeCapacity": 4000, "DesignCapacity": 5000})", 0.8, 0, 0, 0,
             0},
            {R"({"DesignCapacity": 5000, "AppleRawMaxCapacity": 4500, "Voltage": 0, "AppleRawBatteryVoltage": 12500,
                 "InstantAmperage": -1200})",
             0.9, 0, 0, 0, 0},
            {R"({"DesignCapacity": 0, "AppleRawMaxCapacity": 4500, "Voltage": 10000})", 0, 45, 0, 0, 0},
            {R"({"DesignCapacity": -5000, "AppleRawMaxCapacity": 4500})", 0, 0, 0, 0, 0},
            {R"({"InstantAmperage": 64000, "Voltage": 12000})", 0, 0, 0, 768, 0},  // a 16-bit current is not mended
            {R"({"InstantAmperage": {"float": "nan"}, "Amperage": 1000, "Voltage": -12000})", 0, 0, 0, 12, 0},
            {R"({"DesignCapacity": 1e-300, "AppleRawMaxCapacity": 1e308, "Voltage": 1e308, "InstantAmperage": 1e308})",
             0, 0, 100, 0, 0},
            {R"({"CycleCount": 1e300})", 0, 0, 0, 0, most},
            {R"({"CycleCount": -1e300})", 0, 0, 0, 0, -most - 1},
            {R"({"CycleCount": {"float": "nan"}})", 0, 0, 0, 0, 0},
            {R"({"CycleCount": -7.9})", 0, 0, 0, 0, -7},
        }) {
        const auto battery = sample(std::string(R"({"registry": {"AppleSmartBattery": [{"name": "g", "properties": )") +
                                    properties + R"(}, {"name": "second", "properties": {"CycleCount": 99}}]}})");
        EXPECT_DOUBLE_EQ(battery.health, health) << properties;
        EXPECT_DOUBLE_EQ(battery.maxCapacityWh, maximum) << properties;
        EXPECT_DOUBLE_EQ(battery.designCapacityWh, design) << properties;
        EXPECT_DOUBLE_EQ(battery.powerWatts, watts) << properties;
        EXPECT_EQ(battery.cycleCount, cycles) << properties;
    }
}

TEST(BatteryReader, TakesTheAdaptersNumber) {
    for (const auto& [adapter, watts] : std::initializer_list<std::pair<const char*, double>>{
             {R"({"Name": "96W USB-C Power Adapter", "Watts": 94})", 94},
             {R"({"Watts": "96"})", 0},
             {R"({"Watts": {"float": "inf"}})", 0},
             {"96", 0},
             {"null", 0},
         }) {
        const auto battery = sample(std::string(R"({"powerSources": {"adapter": )") + adapter + "}}");
        EXPECT_EQ(battery.adapterWatts, watts) << adapter;
        EXPECT_TRUE(!battery.isPresent && !battery.onACPower && battery.timeRemainingMinutes == -1);
    }
}

}  // namespace
}  // namespace zqm
