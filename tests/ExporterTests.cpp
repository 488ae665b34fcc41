#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <set>

#include "Client/ListenAddress.h"
#include "Client/MachineFigures.h"
#include "Client/ProgramNames.h"
#include "Client/SampleCounters.h"
#include "tests/fakes/TemporaryTree.h"
#include "tests/fakes/VirtualClock.h"

namespace zqm {
namespace {

using testing::ElementsAre;
using testing::FieldsAre;

TEST(SampleCounters, CountEachSampleOnceForTheTimeSinceTheOneBefore) {
    constexpr double missing = -1;
    struct Step {
        double now, timestamp, perSecond, sum;
    };
    SampleCounters counters(Seconds(1));
    SystemSnapshot sample;
    for (const Step& step : {Step{10, 100, 50, 0},  // of the time before this one began to watch
                             {11, 101, 50, 50},
                             {12, 101, 50, 50},
                             {13, 103, 7, 64},
                             {14, 9000, 1, 65},
                             {15, 50, 1, 66},  // a clock that is set
                             {18.5, 60, 9, 66},
                             {19.5, 61, 9, 75},  // three intervals are a gap
                             {20, missing, 9, 75},
                             {21, 63, 9, 75},
                             {22, 64, 9, 84},  // the helper was away
                             {23, 65, -5, 84},
                             {24, 66, std::numeric_limits<double>::infinity(), 84},
                             {25, 67, 1, 85}}) {
        if (step.timestamp == missing) {
            counters.miss();
            continue;
        }
        sample.timestamp = WallTime(Seconds(step.timestamp));
        sample.network.uploadBytesPerSecond = step.perSecond;
        sample.cpu.perCoreUsage.assign(step.now < 15 ? 1 : 2, 0.5);
        counters.count(sample, MonotonicTime(Seconds(step.now)));
        EXPECT_DOUBLE_EQ(counters.sums()[0], step.sum) << step.now;
        EXPECT_EQ(counters.hasCounted("network.uploadBytesPerSecond"), step.sum > 0) << step.now;
    }
    EXPECT_THAT(counters.busySeconds(), ElementsAre(5, 3));
}

TEST(ListenAddress, IsAnAddressAndAPort) {
    for (const char* given : {"127.0.0.1:0", "[::1]:65535"}) {
        EXPECT_EQ(parseListenAddress(given).value().text(), given);
        EXPECT_EQ(listenAddressFault(given), "");
    }
    for (const char* given : {"[10.0.0.1]:1", "::1:1", "[::1:1", "::1]:1", "[]:1", ":1", "1", "a:", "a:65536"})
        EXPECT_FALSE(parseListenAddress(given)) << given;
}

std::vector<std::string> names(const std::vector<ProgramFigure>& programs) {
    std::vector<std::string> names;
    for (const ProgramFigure& program : programs) names.push_back(program.name);
    return names;
}

TEST(ProgramNames, AreSummedFoldedAndBounded) {
    EXPECT_THAT(summedByName({{1, "one", 4},
                              {2, "kworker/u8:2-events", 3},
                              {3, "two", 2},
                              {4, "kworker/R-rcu_g", 2},
                              {5, "one", 1.5},
                              {6, "ksoftirqd/10", 1},
                              {7, "jbd2/sda1-8", 1},
                              {8, "/1", 1},
                              {9, "idle", 0}}),
                ElementsAre(FieldsAre("one", 5.5), FieldsAre("kworker", 5), FieldsAre("two", 2),
                            FieldsAre("ksoftirqd", 1), FieldsAre("jbd2/sda1-8", 1), FieldsAre("/1", 1)));
    ProgramNames bounds;
    std::set<std::string> seen;
    const auto told = [&](double now, const std::string& passing) {
        const auto programs = bounds.bounded(ProcessCategory::cpu, {{"steady", 9}, {passing, 2}, {passing + "b", 1}},
                                             MonotonicTime(Seconds(now)));
        const auto result = names(programs);
        seen.insert(result.begin(), result.end());
        return result;
    };
    for (int i = 0; i < 500; ++i) told(i, "p" + std::to_string(i));
    EXPECT_EQ(seen.size(), ProgramNames::atOnce + 1);  // with the one for all others
    EXPECT_THAT(told(500, "late"), ElementsAre("steady", "(other)"));
    EXPECT_THAT(told(559, "late"), ElementsAre("steady", "(other)"));
    EXPECT_THAT(told(560, "late"), ElementsAre("steady", "late", "lateb"));
    for (int i = 0; i < 300; ++i) {  // each long enough for a place
        for (int minute : {0, 1}) told(1000 + 200 * i + 60 * minute, "q" + std::to_string(i));
    }
    EXPECT_EQ(seen.size(), ProgramNames::most + 1);
    EXPECT_THAT(told(90000, "new"), ElementsAre("steady", "new", "newb"));  // the first ones' day is over
}

TEST(MachineFigures, CountOnWhenADeviceIsReplaced) {
    TemporaryTree tree;
    VirtualClock clock;
    MachineFiguresReader reader(tree.root(), clock);
    tree.write("proc/meminfo", "MemTotal: 1 kB\nMemAvailable: 1 kB\n");
    tree.write("proc/stat", "cpu0 1 1 1 1 1 1 1 1 1 1\n");
    SystemSnapshot sample;
    sample.memory.totalBytes = 1024;
    EXPECT_FALSE(reader.look(sample));  // as many processors make it this machine
    sample.cpu.perCoreUsage = {0.5};
    clock.advance(Seconds(10));
    struct Step {
        std::string received;
        double uptime, boot;
        std::uint64_t total;
    };
    const double start = clock.wall().time_since_epoch().count();
    for (const Step& step : {Step{"700", 100.2, std::round(start - 100.2), 700},
                             {"900", 111.4, std::round(start - 100.2), 900},
                             {"50", 120.2, std::round(start - 100.2), 950},
                             {"60", 30.2, std::round(start - 0.2), 960}}) {
        tree.write("proc/uptime", std::to_string(step.uptime) + " 1\n");
        tree.write("proc/net/dev", "a|b\nc|d\n eth0: " + step.received + " 1 2 3 4 5 6 7 8 1 2 3 4 5 6 7\n");
        const auto figures = reader.look(sample);
        ASSERT_TRUE(figures && figures->interfaces.size() == 1 && figures->bootTime);
        EXPECT_EQ(figures->interfaces[0].received, step.total);
        EXPECT_NEAR(figures->bootTime->time_since_epoch().count(), step.boot, 1e-6) << step.received;
        clock.advance(Seconds(10));
    }
}

}  // namespace
}  // namespace zqm
