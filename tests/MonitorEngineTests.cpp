#include "ZQMHelper/Shared/MonitorEngine.h"

#include <gtest/gtest.h>

#include <cmath>

#include "ZQMHelper/AccessToken.h"
#include "ZQMHelper/SensorSnapshot.h"
#include "ZQMHelper/Shared/MetricsJson.h"
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
    machine.loop.holdBackground = true;
    machine.loop.runFor(Seconds(1));
    engine.reset();  // while a sample is under way
    machine.loop.holdBackground = false;
    machine.loop.runFor(Seconds(5));
    EXPECT_EQ(published.size(), 5u);
}

TEST_F(Engine, DerivesTheLoadFromTheBusiestOfThree) {
    start();
    struct Case {
        double cpu, gpu, power, load, peak;
    };
    for (const auto& [cpu, gpu, power, load, peak] : std::initializer_list<Case>{
             {0.3, 0.6, 0.4, 0.6, 5},  // too little power to count
             {-0.1, -0.2, 0.5, 0, 5},
             {1.4, 0, 0, 1, 5},  // a reader that overshoots
             {0.1, 0.1, 3, 0.6, 5},
             {0.1, 0.1, 10, 1, 10},  // a new peak
             {0.2, 0.1, 2.5, 0.25, 10},
         }) {
        EXPECT_DOUBLE_EQ(engine->computeLoad(cpu, gpu, power).value, load);
        EXPECT_EQ(engine->peakPowerWatts(), peak);
    }
}

TEST_F(Engine, SnapshotRouteFollowsThePublishedSample) {
    SensorSnapshot route;
    std::vector<std::string> answers;
    const auto ask = [&] { route.request([&](std::string_view text) { answers.emplace_back(text); }); };
    ask();
    machine.loop.runFor(Seconds(0));
    EXPECT_EQ(answers, std::vector<std::string>{R"({"error":"engine not started"})"});
    machine.loop.post([&] { start(), route.setEngine(engine); });
    ask();  // is answered behind that
    machine.loop.runFor(Seconds(0));
    const std::string defaults = route.text();
    EXPECT_EQ(answers.back(), defaults);
    machine.loop.runFor(Seconds(1));
    EXPECT_EQ(route.text(), withProcesses(engine->snapshotJSON(), route.processes()));
    EXPECT_NE(route.text(), defaults);
    machine.clock.wallTime = WallTime(Seconds(NAN));  // a number that cannot be written
    machine.loop.runFor(Seconds(1));
    EXPECT_EQ(route.text(), withProcesses("{}", route.processes()));
}

TEST(AccessToken, IsReadOrMadeOnce) {
    const std::string made = FakeFiles().makeUuid();
    const std::string file = "/container/helper-token";
    struct Case {
        const char* stored;
        std::string token, left;
    };
    for (const auto& [stored, token, left] : std::initializer_list<Case>{
             {" \r\n two words \t", "two words", " \r\n two words \t"},
             {" \n\t ", made, made},
             {"\xFF\xFE", made, made},  // not UTF-8
         }) {
        FakeFiles files;
        files.contents[file] = stored;
        EXPECT_EQ(AccessToken("/container", files).text(), token);
        EXPECT_EQ(files.contents[file], left);
    }
    for (const std::string& sent : {std::string(4096, 'x'), std::string(" ~\xC3\xA9")}) EXPECT_FALSE(tokenFault(sent));
    for (const std::string& bad : {std::string(4097, 'x'), std::string("a\x1F"), std::string("\x7F")})
        EXPECT_TRUE(tokenFault(bad)) << bad;
    FakeFiles files;
    files.writable = false;
    EXPECT_EQ(AccessToken("/container", files).text(), made);
    EXPECT_TRUE(files.contents.empty());
    files.beforeLock = [&] { files.contents[file] = "of the helper that was faster"; };
    EXPECT_EQ(AccessToken("/container", files).text(), "of the helper that was faster");
}

}  // namespace
}  // namespace zqm
