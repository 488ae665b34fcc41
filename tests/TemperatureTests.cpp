#include <gtest/gtest.h>

#include "ZQMHelper/Shared/TemperatureReader.h"
#include "tests/fakes/MachinePlatform.h"

namespace zqm {
namespace {

TEST(TemperatureReader, AveragesTheSensorsOfEachClass) {
    // Names and degrees of the sensors; the processors' and the graphics' temperature.
    using Sensors = std::vector<std::pair<std::string, std::string>>;
    for (const auto& [sensors, cpu, gpu] : std::initializer_list<std::tuple<Sensors, double, double>>{
             {{{"pACC MTR Temp Sensor2", "50"}, {"eACC MTR Temp Sensor0", "40"}, {"GPU MTR Temp Sensor1", "45"}},
              45,
              45},
             {{{"PMU tdie1", "60"}, {"SOC MTR Temp Sensor0", "62"}}, 61, 61},
             {{{"GPU", "48"}}, 0, 48},
             // Names that only contain a prefix, or begin like one.
             {{{"PMGR SOC MTR", "29"}, {"PMU tdev1", "30"}, {"PMU2 tdie1", "31"}, {"gpu", "32"}}, 0, 0},
             // Implausible readings are left out, the bounds themselves as they are documented.
             {{{"PMU tdie1", "150"}, {"PMU tdie2", "151"}, {"PMU tdie3", "0"}, {"PMU tdie4", R"({"float": "nan"})"}},
              150,
              150},
             // The later of two sensors of one name, unless it is implausible.
             {{{"PMU tdie1", "20"}, {"PMU tdie1", "40"}, {"PMU tdie1", "200"}, {"PMU tdie2", "50"}}, 45, 45},
         }) {
        std::string list;
        for (const auto& [name, degrees] : sensors) {
            list += R"({"product": ")" + name + R"(", "temperature": )" + degrees + "},";
        }
        DescribedPlatform machine(R"({"temperatureSensors": [)" + list + "{}]}");
        const auto result = TemperatureReader().sample();
        EXPECT_DOUBLE_EQ(result.cpu, cpu) << list;
        EXPECT_DOUBLE_EQ(result.gpu, gpu) << list;
    }
}

}  // namespace
}  // namespace zqm
