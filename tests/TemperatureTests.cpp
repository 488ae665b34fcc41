#include <gtest/gtest.h>

#include "ZQMHelper/Shared/TemperatureBridge.h"
#include "ZQMHelper/Shared/TemperatureReader.h"
#include "tests/fakes/MachinePlatform.h"

namespace zqm {
namespace {

TEST(TemperatureReader, AveragesTheSensorsOfEachClass) {
    struct Case {
        const char* sensors;
        double cpu, gpu;
    };
    for (
        const auto& [sensors, cpu, gpu] : std::initializer_list<Case>{
            {R"([{"product": "pACC MTR Temp Sensor2", "temperature": 50}, {"product": "eACC MTR Temp Sensor0",
                 "temperature": 40}, {"product": "GPU MTR Temp Sensor1", "temperature": 45}])",
             45, 45},
            {R"([{"product": "PMU tdie1", "temperature": 60}, {"product": "PMU tdie2", "temperature": 62}])", 61, 61},
            {R"([{"product": "SOC MTR Temp Sensor0", "temperature": 30}, {"product": "GPU", "temperature": 70}])", 30,
             70},
            {R"([{"product": "GPU MTR Temp Sensor1", "temperature": 48}])", 0, 48},
            // Names that only contain a prefix, or begin like one.
            {R"([{"product": "PMGR SOC Die Temp Sensor0", "temperature": 29}, {"product": "PMU tdev1", "temperature": 30},
                 {"product": "PMU2 tdie1", "temperature": 31}, {"product": "gpu", "temperature": 32}])",
             0, 0},
            // Implausible readings are left out, the bounds themselves as they are documented.
            {R"([{"product": "PMU tdie1", "temperature": 150}, {"product": "PMU tdie2", "temperature": 151},
                 {"product": "PMU tdie3", "temperature": -21.5}, {"product": "PMU tdie4", "temperature": 0},
                 {"product": "PMU tdie5", "temperature": {"float": "nan"}}, {"product": "PMU tdie6", "temperature": null},
                 {"product": null, "temperature": 20}, {"product": "PMU tdie7", "temperature": {"float": "inf"}}])",
             150, 150},
            // The later of two sensors of one name, unless it is implausible.
            {R"([{"product": "PMU tdie1", "temperature": 20}, {"product": "PMU tdie1", "temperature": 40},
                 {"product": "PMU tdie1", "temperature": 200}, {"product": "PMU tdie2", "temperature": 50}])",
             45, 45},
            {"[]", 0, 0},
            {"null", 0, 0},
        }) {
        DescribedPlatform machine(std::string(R"({"temperatureSensors": )") + sensors + "}");
        const auto result = TemperatureReader().sample();
        EXPECT_DOUBLE_EQ(result.cpu, cpu) << sensors;
        EXPECT_DOUBLE_EQ(result.gpu, gpu) << sensors;
    }
}

TEST(TemperatureReader, TellsNoSensorsFromNoEventSystem) {
    DescribedPlatform machine(R"({"temperatureSensors": {"list": [[], null]}})");
    EXPECT_TRUE(ReadHIDTemperatures(machine.platform.temperatureSensors)->empty());
    EXPECT_FALSE(ReadHIDTemperatures(machine.platform.temperatureSensors));
}

}  // namespace
}  // namespace zqm
