#include <gtest/gtest.h>

#include "ZQMHelper/Shared/GPUReader.h"
#include "tests/fakes/MachinePlatform.h"

namespace zqm {
namespace {

TEST(GPUReader, TakesTheBusiestAndTheFastestOfAllGPUs) {
    const std::string busy = R"("Device Utilization %": )", active = R"j(, "GPU Activity(%)": )j";
    const std::string clock = R"j(, "Core Clock(MHz)": )j";
    // Statistics of two; what is then said of both.
    for (const auto& [first, second, utilization, frequency] :
         std::initializer_list<std::tuple<std::string, std::string, double, double>>{
             {busy + "37" + active + "50", busy + "null" + active + "12", 0.37, 0},
             {busy + "\"37\"" + active + "50", busy + R"({"float": "nan"})", 0.5, 0},
             {busy + "20" + clock + "1200", busy + "65" + clock + "400", 0.65, 1200},
             {busy + "101", busy + "5", 1, 0},
             {busy + "-20" + clock + "-5", busy + "-1" + clock + "\"400\"", 0, 0},
         }) {
        DescribedPlatform machine(R"({"registry": {"IOAccelerator": [{"name": "none"},
            {"name": "a", "properties": {"PerformanceStatistics": {)" +
                                  first + R"(}}}, {"name": "b", "properties": {"PerformanceStatistics": {)" + second +
                                  "}}}]}}");
        const GPUMetrics gpu = GPUReader().sample();
        EXPECT_DOUBLE_EQ(gpu.utilization, utilization) << first;
        EXPECT_EQ(gpu.frequencyMHz, frequency) << first;
    }
}

}  // namespace
}  // namespace zqm
