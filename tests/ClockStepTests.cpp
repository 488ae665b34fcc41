#include <gtest/gtest.h>

#include "ZQMHelper/Shared/MonitorEngine.h"
#include "tests/fakes/MachinePlatform.h"

namespace zqm {
namespace {

struct Step {
    const char* name;
    double wall, monotonic, continuous;  // seconds by which each clock jumps at once
    std::size_t lookups;                 // of the public address within the 90 s, one of them at launch
};

void PrintTo(const Step& step, std::ostream* out) {
    *out << step.name;
}

struct ClockStep : testing::TestWithParam<Step> {};

/// Ten seconds of samples, the step, eighty seconds more.
TEST_P(ClockStep, NeitherDisturbsTheRhythmNorTheRatesNorTheAges) {
    const auto& [name, wall, monotonic, continuous, lookups] = GetParam();
    DescribedPlatform described(R"json({
        "hostStatistics": {"processors": [{"user": {"start": 0, "rate": 25}, "system": 0,
            "idle": {"start": 0, "rate": 75}, "nice": 0}]},
        "networkInterfaces": [{"name": "en0", "received": {"start": 7, "rate": 2560}, "sent": {"start": 7, "rate": 31}}],
        "ioReport": {"paths": ["/usr/lib/libIOReport.dylib"], "groups": [{"group": "Energy Model", "subgroup": "", "channels": [
            {"name": "CPU Energy", "unit": "mJ", "value": {"start": 50, "rate": 3000}}]}]}})json");
    FakePlatform& process = described.process;
    process.systemSettings.variables["ZQM_GEOLOCATION_HOST"] = "geo.example";
    auto engine = std::make_shared<MonitorEngine>(std::make_shared<SettingsStore>(), std::make_shared<SMCBridge>(),
                                                  described.platform);
    std::vector<SystemSnapshot> samples;
    engine->observation().onChange([&](std::string_view) { samples.push_back(engine->snapshot()); });
    engine->start();
    process.loop.runFor(Seconds(10));
    process.clock.wallTime += Seconds(wall);
    process.clock.monotonicTime += Seconds(monotonic);
    process.clock.continuousTime += Seconds(continuous);
    process.loop.runFor(Seconds(80));

    EXPECT_NEAR(static_cast<double>(samples.size()), 90, 1);
    EXPECT_EQ(process.httpClient.requests.size(), lookups);
    for (std::size_t sample = 1; sample < samples.size(); ++sample) {
        EXPECT_NEAR(samples[sample].network.downloadBytesPerSecond, 2560, 2) << sample;
        EXPECT_NEAR(samples[sample].cpu.totalUsage, 0.25, 0.02) << sample;
        EXPECT_NEAR(samples[sample].power.cpuWatts, 3, 0.02) << sample;
    }
}

INSTANTIATE_TEST_SUITE_P(Of, ClockStep,
                         testing::Values(Step{"a second ahead", 1, 0, 0, 2}, Step{"a second back", -1, 0, 0, 2},
                                         Step{"an hour ahead", 3600, 0, 0, 2}, Step{"an hour back", -3600, 0, 0, 2},
                                         Step{"a day ahead", 86400, 0, 0, 2}, Step{"a day back", -86400, 0, 0, 2},
                                         Step{"an hour of sleep", 3600, 0, 3600, 3},
                                         Step{"a stall of an hour", 3600, 3600, 3600, 3}));

}  // namespace
}  // namespace zqm
