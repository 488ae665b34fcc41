#include <gtest/gtest.h>

#include "ZQMHelper/Shared/MonitorEngine.h"
#include "tests/fakes/MachinePlatform.h"

namespace zqm {
namespace {

constexpr double hour = 3600;
constexpr double day = 24 * hour;

/// Ten seconds of samples, a step of the clocks, eighty seconds more.
TEST(ClockStep, DisturbsNeitherTheRhythmNorTheRatesNorTheAges) {
    // Seconds by which each clock jumps at once; lookups of the public address within the 90 s, one of them at launch.
    for (const auto& [wall, monotonic, continuous, lookups] :
         std::initializer_list<std::array<double, 4>>{{1, 0, 0, 2},
                                                      {-hour, 0, 0, 2},
                                                      {day, 0, 0, 2},
                                                      {hour, 0, hour, 3},        // sleep
                                                      {hour, hour, hour, 3}}) {  // a stall
        SCOPED_TRACE(wall);
        DescribedPlatform described(R"json({
            "hostStatistics": {"processors": [{"user": {"start": 0, "rate": 25}, "system": 0,
                "idle": {"start": 0, "rate": 75}, "nice": 0}]},
            "networkInterfaces": [{"name": "en0", "received": {"start": 7, "rate": 2560}, "sent": 0}]})json");
        FakePlatform& process = described.process;
        process.systemSettings.variables["ZQM_GEOLOCATION_HOST"] = "geo.example";
        const auto engine =
            std::make_shared<MonitorEngine>(std::make_shared<SettingsStore>(), std::make_shared<SMCBridge>());
        int samples = 0;
        engine->observation().onChange([&](std::string_view) {
            if (++samples == 1) return;
            EXPECT_NEAR(engine->snapshot().network.downloadBytesPerSecond, 2560, 2) << samples;
            EXPECT_NEAR(engine->snapshot().cpu.totalUsage, 0.25, 0.02) << samples;
        });
        engine->start();
        process.loop.runFor(Seconds(10));
        process.clock.wallTime += Seconds(wall);
        process.clock.monotonicTime += Seconds(monotonic);
        process.clock.continuousTime += Seconds(continuous);
        process.loop.runFor(Seconds(80));
        EXPECT_NEAR(samples, 90, 1);
        EXPECT_EQ(static_cast<double>(process.httpClient.requests.size()), lookups);
    }
}

}  // namespace
}  // namespace zqm
