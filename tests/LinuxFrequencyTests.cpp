#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "ZQMHelper/Shared/FrequencyReader.h"
#include "tests/fakes/TreeMachine.h"

namespace zqm {
namespace {

using testing::DoubleNear;
using testing::ElementsAre;
using testing::Pair;

const std::string processors = "sys/devices/system/cpu/";

auto megahertz(double value) {
    return DoubleNear(value, 1e-6);
}

/// Two efficiency processors that share a clock with listed steps, and two performance processors with a range.
struct HybridMachine : TreeMachine {
    HybridMachine() {
        tree.write("proc/stat", "cpu0 1 0 1 1\ncpu1 1 0 1 1\ncpu2 1 0 1 1\ncpu3 1 0 1 1\n");
        tree.write("sys/devices/cpu_core/cpus", "2-3\n");
        tree.write("sys/devices/cpu_atom/cpus", "0-1\n");
        write(processors + "cpufreq/policy0", {{"related_cpus", "0 1"},
                                               {"scaling_available_frequencies", "600000 1200000 1800000 "},
                                               {"cpuinfo_max_freq", "1800000"},
                                               {"scaling_cur_freq", "1200000"},
                                               {"stats/time_in_state", "600000 100\n1200000 50\n1800000 10"}});
        for (const char* number : {"2", "3"}) {
            write(processors + "cpufreq/policy" + number, {{"related_cpus", number},
                                                           {"cpuinfo_min_freq", "800000"},
                                                           {"cpuinfo_max_freq", "4800000"},
                                                           {"scaling_cur_freq", "799972"}});
        }
    }
};

TEST(LinuxFrequencies, ArePresentAtFirstAndMeansOverTheTickAfterwards) {
    HybridMachine machine;
    machine.tree.write(processors + "cpufreq/policy3/scaling_cur_freq", "2114285\n");
    FrequencyReader reader(machine.platform);
    auto result = reader.sample();
    EXPECT_THAT(result.efficiencyMaxMHz, megahertz(1800));
    EXPECT_THAT(result.performanceMaxMHz, megahertz(4800));
    EXPECT_THAT(result.efficiencyMHz, megahertz(1200));
    EXPECT_THAT(result.performanceMHz, megahertz((799.972 + 2114.285) / 2));
    EXPECT_THAT(result.perCoreMHz, ElementsAre(Pair("E0", megahertz(1200)), Pair("E1", megahertz(1200)),
                                               Pair("P0", megahertz(800)), Pair("P1", megahertz(2114.285))));

    // A second of 10 ms ticks: a quarter of it at the top, the rest at the bottom.
    machine.fakes.clock.advance(Seconds(0.8));
    machine.tree.write(processors + "cpufreq/policy0/stats/time_in_state", "600000 175\n1200000 50\n1800000 35\n");
    machine.tree.write(processors + "online", "0-2\n");
    result = reader.sample();
    EXPECT_THAT(result.efficiencyMHz, megahertz(900));
    EXPECT_THAT(result.performanceMHz, megahertz(800)) << "without the processor that went offline";
    EXPECT_THAT(result.perCoreMHz["P1"], megahertz(2114.285)) << "an idle processor keeps its last value";

    machine.fakes.clock.advance(Seconds(0.8));
    machine.tree.write(processors + "cpufreq/policy0/stats/time_in_state", "600000 3\n1200000 60\n1800000 40\n");
    EXPECT_THAT(reader.sample().efficiencyMHz, megahertz(1200)) << "counters that fell tell nothing";
}

TEST(LinuxFrequencies, StepsComeFromTheBestSource) {
    const struct {
        std::initializer_list<std::pair<const char*, const char*>> files;
        std::vector<std::uint32_t> steps;
    } rows[] = {
        {{{"scaling_available_frequencies", "2000000 1000000"},
          {"scaling_boost_frequencies", "2500000"},
          {"cpuinfo_max_freq", "3000000"}},
         {1000000, 2000000, 2500000, 3000000}},
        {{{"stats/time_in_state", "3600000 9\n2800000 7"}}, {2800000, 3600000}},
        {{{"cpuinfo_min_freq", "800000"}, {"cpuinfo_max_freq", "1600000"}},
         {800000, 1000000, 1200000, 1400000, 1600000}},
        {{{"cpuinfo_max_freq", "1600000"}}, {1600000}},
        {{{"cpuinfo_min_freq", "x"}, {"cpuinfo_max_freq", "99999999999999999999"}}, {}},
    };
    for (const auto& [files, steps] : rows) {
        TreeMachine machine;
        machine.tree.write("proc/stat", "cpu0 1 0 1 1\n");
        machine.write(processors + "cpu0/cpufreq", files);
        machine.write(processors + "cpu0/cpufreq", {{"scaling_cur_freq", "1000000"}});
        const RootDirectory root(machine.tree.root());
        Processors list(root);
        ProcessorFrequencies frequencies(root, list, machine.fakes.clock);
        EXPECT_EQ(frequencies.steps(ProcessorKind::performance), steps);
    }
}

TEST(LinuxFrequencies, WithoutCpufreqTheProcessorInfoTells) {
    TreeMachine machine;
    machine.tree.write("proc/stat", "cpu0 1 0 1 1\ncpu3 1 0 1 1\n");
    machine.tree.write("proc/cpuinfo",
                       "processor\t: 0\ncpu MHz\t\t: 2593.498\n\nprocessor\t: 3\ncpu MHz\t\t: 1000.5\n");
    FrequencyReader reader(machine.platform);
    const auto result = reader.sample();
    EXPECT_THAT(result.performanceMaxMHz, megahertz(2593.498));
    EXPECT_THAT(result.perCoreMHz, ElementsAre(Pair("P0", megahertz(2593.498)), Pair("P1", megahertz(1000.5))));
}

TEST(LinuxFrequencies, ManyProcessorsKeepTheirOrder) {
    TreeMachine machine;
    std::string statistics, info;
    for (int i = 0; i < 128; ++i) {
        statistics += "cpu" + std::to_string(i) + " 1 0 1 1\n";
        info += "processor : " + std::to_string(i) + "\ncpu MHz : " + std::to_string(1000 + i) + ".000\n";
    }
    machine.tree.write("proc/stat", statistics);
    machine.tree.write("proc/cpuinfo", info);
    auto perCore = FrequencyReader(machine.platform).sample().perCoreMHz;
    ASSERT_EQ(perCore.size(), 128u);
    for (int i = 0; i < 128; ++i) EXPECT_THAT(perCore["P" + std::to_string(i)], megahertz(1000 + i));
}

/// A clock on which every look at it takes time, as reading does on a machine whose firmware answers slowly.
struct SlowReading final : Clock {
    WallTime wall() override { return {}; }
    MonotonicTime monotonic() override { return now += step; }
    ContinuousTime continuous() override { return {}; }
    void sleep(Seconds duration) override { now += duration; }
    MonotonicTime now{Seconds(10)};
    Seconds step{0};
};

TEST(LinuxFrequencies, SlowReadingIsSpreadOverTicks) {
    TemporaryTree tree;
    std::string statistics;
    for (int i = 0; i < 8; ++i) {
        const std::string number = std::to_string(i);
        statistics += "cpu" + number + " 1 0 1 1\n";
        tree.write(processors + "cpu" + number + "/cpufreq/scaling_cur_freq", "1000000\n");
    }
    tree.write("proc/stat", statistics);
    const RootDirectory root(tree.root());
    Processors list(root);
    SlowReading clock;
    ProcessorFrequencies frequencies(root, list, clock);
    frequencies.read();
    std::vector<int> fresh;  // processors read in each tick
    for (int tick = 1; tick <= 8; ++tick) {
        const int now = 1000000 + tick;
        for (int i = 0; i < 8; ++i) {
            tree.write(processors + "cpu" + std::to_string(i) + "/cpufreq/scaling_cur_freq",
                       std::to_string(now) + "\n");
        }
        clock.step = Seconds(0.016);
        clock.sleep(Seconds(1));
        const auto read = frequencies.read();
        fresh.push_back(static_cast<int>(
            std::count_if(read.begin(), read.end(), [now](const auto& each) { return each.kilohertz == now; })));
    }
    // 20 ms a tick at 16 ms each: ten in eight ticks, the first of which may overdraw.
    EXPECT_THAT(fresh, testing::Each(testing::AllOf(testing::Ge(1), testing::Le(2))));
    EXPECT_LE(std::accumulate(fresh.begin(), fresh.end(), 0), 11);
    EXPECT_THAT(frequencies.read(), testing::Each(testing::Field(&ProcessorFrequency::kilohertz, testing::Gt(1000000))))
        << "each has had its turn";
}

}  // namespace
}  // namespace zqm
