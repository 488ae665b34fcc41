#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "ZQMHelper/Shared/GPUReader.h"
#include "tests/fakes/MachinePlatform.h"

namespace zqm {
namespace {

TEST(GPUReader, TakesTheBusiestAndTheFastestOfAllGPUs) {
    struct Case {
        const char* statistics;  // of each GPU
        double utilization, frequency;
    };
    for (const auto& [statistics, utilization, frequency] : std::initializer_list<Case>{
             {"[]", 0, 0},
             {R"json([{"Device Utilization %": 37}])json", 0.37, 0},
             {R"json([{"GPU Activity(%)": 12}])json", 0.12, 0},
             {R"json([{"Device Utilization %": 37, "GPU Activity(%)": 50}])json", 0.37, 0},
             {R"json([{"Device Utilization %": "37", "GPU Activity(%)": 50}])json", 0.5, 0},
             {R"json([{"Device Utilization %": {"float": "nan"}, "GPU Activity(%)": {"float": "inf"}}])json", 0, 0},
             {R"json([{"Device Utilization %": 20, "Core Clock(MHz)": 1200},
                 {"Device Utilization %": 65, "Core Clock(MHz)": 400}])json",
              0.65, 1200},
             {R"json([{"Device Utilization %": 65}, {"Device Utilization %": -20, "Core Clock(MHz)": -5}])json", 0.65,
              0},
             {R"json([{"Device Utilization %": 101}])json", 1, 0},
             {R"json([{"Device Utilization %": -1, "Core Clock(MHz)": "400"}])json", 0, 0},
             {R"json([null, "busy", {"Device Utilization %": 5.5}])json", 0.055, 0},
         }) {
        const auto gpus = nlohmann::json::parse(statistics);
        nlohmann::json services = nlohmann::json::array();
        for (const auto& gpu : gpus) {
            services.push_back({{"name", "GPU"}, {"properties", {{"PerformanceStatistics", gpu}}}});
        }
        DescribedPlatform machine(nlohmann::json{{"registry", {{"IOAccelerator", services}}}}.dump());
        const GPUMetrics gpu = GPUReader().sample();
        EXPECT_DOUBLE_EQ(gpu.utilization, utilization) << statistics;
        EXPECT_EQ(gpu.frequencyMHz, frequency) << statistics;
        EXPECT_TRUE(gpu.maxFrequencyMHz == 0 && gpu.temperatureC == 0);
    }
}

TEST(GPUReader, ReportsZerosWithoutServices) {
    for (const char* description :
         {"{}", R"({"registry": {"IOAccelerator": null}})", R"({"registry": {"IOAccelerator": [{"name": "GPU"}]}})"}) {
        DescribedPlatform machine(description);
        const GPUMetrics gpu = GPUReader().sample();
        EXPECT_TRUE(gpu.utilization == 0 && gpu.frequencyMHz == 0) << description;
    }
}

}  // namespace
}  // namespace zqm
