#include "ZQMHelper/Shared/MonitorEngine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "ZQMHelper/AccessToken.h"
#include "ZQMHelper/SensorSnapshot.h"
#include "tests/fakes/FakePlatform.h"

namespace zqm {
namespace {

struct Engine : testing::Test {
    FakePlatform machine;  // it is 0.25 s past a second
    std::shared_ptr<SettingsStore> settings;
    std::shared_ptr<MonitorEngine> engine;
    std::vector<double> published;  // timestamps

    void start(double interval = 1) {
        machine.userDefaults.numbers["updateInterval"] = interval;
        settings = std::make_shared<SettingsStore>();
        engine = std::make_shared<MonitorEngine>(settings, std::make_shared<SMCBridge>());
        engine->observation().onChange([this](std::string_view property) {
            EXPECT_EQ(property, "snapshot");
            published.push_back(engine->snapshot().timestamp.time_since_epoch().count());
        });
        engine->start();
    }
};

TEST_F(Engine, SamplesFirstAtTheNextWholeSecondAndThenOncePerInterval) {
    start(2);
    EXPECT_EQ(machine.log.lines, std::vector<std::string>{"[ZQM] engine.start 调用"});
    EXPECT_NE(engine->snapshotJSON().find("\"timestamp\":1763327051.25}"), std::string::npos);
    machine.loop.runFor(Seconds(0.74));
    EXPECT_TRUE(published.empty());
    machine.loop.runFor(Seconds(5.01));
    EXPECT_EQ(published, (std::vector<double>{1763327052, 1763327054, 1763327056}));
    EXPECT_EQ(machine.log.lines.back(), "[ZQM] scheduleTimer 触发");
    settings->setUpdateInterval(0.1);  // too late for this run
    machine.loop.runFor(Seconds(4));
    EXPECT_EQ(published.size(), 5u);
    EXPECT_EQ(machine.loop.lastPeriod, Seconds(2));
}

TEST_F(Engine, SkipsFiringsWhileASampleIsRunning) {
    start();
    machine.loop.holdBackground = true;
    machine.loop.runFor(Seconds(3.8));
    EXPECT_TRUE(published.empty());
    machine.loop.holdBackground = false;
    machine.loop.runFor(Seconds(1));
    EXPECT_EQ(published.size(), 2u);  // the one that was under way and the next firing, no burst
    machine.loop.runFor(Seconds(3));
    EXPECT_EQ(published.size(), 5u);
    EXPECT_TRUE(std::is_sorted(published.begin(), published.end()));
}

TEST_F(Engine, DoesNothingOnceItIsGone) {
    start();
    machine.loop.runFor(Seconds(1));
    machine.loop.holdBackground = true;
    machine.loop.runFor(Seconds(1));  // a sample is under way
    engine.reset();
    machine.loop.holdBackground = false;
    machine.loop.runFor(Seconds(5));
    EXPECT_EQ(published.size(), 1u);
}

TEST_F(Engine, DerivesTheLoadFromTheBusiestOfThree) {
    start();
    struct Case {
        double cpu, gpu, power, load, peak;
    };
    for (const auto& [cpu, gpu, power, load, peak] : std::initializer_list<Case>{
             {0.3, 0.6, 0.4, 0.6, 5},  // too little power to count
             {0, 0, 0, 0, 5},
             {-0.1, 0, 0.5, 0, 5},
             {1.4, 0, 0, 1, 5},  // a reader that overshoots
             {0.1, 0.1, 3, 0.6, 5},
             {0.1, 0.1, 10, 1, 10},  // a new peak
             {0.1, 0.1, 5, 0.5, 10},
             {0.2, 0.1, 2.5, 0.25, 10},
         }) {
        EXPECT_DOUBLE_EQ(engine->computeLoad(cpu, gpu, power).value, load);
        EXPECT_EQ(engine->peakPowerWatts(), peak);
    }
}

TEST_F(Engine, SnapshotRouteFollowsThePublishedSample) {
    SensorSnapshot route;
    EXPECT_EQ(route.text(), R"({"error":"engine not started"})");
    start();
    route.setEngine(engine);
    const std::string defaults = route.text();
    EXPECT_NE(defaults.find("\"timeRemainingMinutes\":-1"), std::string::npos);
    machine.loop.runFor(Seconds(1));
    EXPECT_EQ(route.text(), withProcesses(engine->snapshotJSON(), route.processes()));
    EXPECT_NE(route.text(), defaults);
    machine.clock.wallTime = WallTime(Seconds(NAN));  // a number that cannot be written
    machine.loop.runFor(Seconds(1));
    EXPECT_EQ(route.text(), withProcesses("{}", route.processes()));
}

TEST(AccessToken, IsReadOrMadeOnce) {
    const std::string made = FakeFiles().makeUuid();
    using Content = std::optional<std::string>;
    struct Case {
        Content stored, storedMeanwhile;
        bool writable;
        std::string token;
        Content left;
    };
    for (const auto& [stored, meanwhile, writable, token, left] : std::initializer_list<Case>{
             {"secret\n", {}, true, "secret", "secret\n"},
             {" \r\n two words \t", {}, true, "two words", " \r\n two words \t"},
             {{}, {}, true, made, made},
             {" \n\t ", {}, true, made, made},
             {"\xFF\xFE", {}, true, made, made},  // not UTF-8
             {{},
              "of the helper that was faster",
              true,
              "of the helper that was faster",
              "of the helper that was faster"},
             {{}, {}, false, made, {}},
         }) {
        FakeFiles files;
        const std::string file = "/container/helper-token";
        if (stored) files.contents[file] = *stored;
        if (meanwhile) files.beforeLock = [&] { files.contents[file] = *meanwhile; };
        files.writable = writable;
        EXPECT_EQ(loadOrCreateToken("/container", files), token);
        EXPECT_EQ(files.read(file), left);
    }
}

}  // namespace
}  // namespace zqm
