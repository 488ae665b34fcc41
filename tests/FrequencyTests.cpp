#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "ZQMHelper/Shared/FrequencyReader.h"
#include "tests/fakes/MachinePlatform.h"

namespace zqm {
namespace {

using testing::DoubleEq;
using testing::ElementsAre;
using testing::Pointwise;

FrequencyLadder megahertz(FrequencyLadder ladder) {
    for (double& frequency : ladder) frequency *= 1e6;
    return ladder;
}

/// Names of states, each with the time spent in it.
StateList states(const char* text) {
    StateList list;
    std::istringstream words(text);
    for (std::pair<std::string, double> state; words >> state.first >> state.second;) list.push_back(state);
    return list;
}

TEST(StateResidency, WeighsTheActiveTime) {
    // States, ladder and mean in MHz.
    for (const auto& [text, ladder, mean] : std::initializer_list<std::tuple<const char*, FrequencyLadder, double>>{
             {"IDLE 800 V0P1 100 V1P0 100", {600, 1200}, 900},
             {"DOWN 50 IDLE 50", {600, 1200}, 0},
             {"OFF 40 V0 0 IDLE 10 V1 10", {600, 1200, 1800}, 1500},  // the later IDLE is active
             {"V0 10 V1 10 V2 10 V3 10", {600, 1200}, 1050},          // past the end: the top
             {"IDLE 1 V0 -5 V1 10", {600, 1200}, 1200},
             {"V0 10", {}, 0},
             {"", {600}, 0},
             // What a laptop did within two seconds, beside the active frequency that the system's own tool printed.
             {"IDLE 1560486833 V0 0 V1 1856923416 V2 88369250 V3 26039083 V4 47427791",
              {600, 972, 1332, 1704, 2064},
              1022.87},
             {"OFF 1980028458 P1 534666 P2 0 P3 33009083", {396, 528, 720, 924}, 714.836},
         }) {
        EXPECT_NEAR(weighted(states(text), megahertz(ladder)) / 1e6, mean, 0.02) << text;
    }
    EXPECT_EQ(middle({states("IDLE 5 V0 -10")}, megahertz({600})), 0) << "of several clusters, none of which ran";
}

/// A voltage-state table of these frequency words as a "bytes" form.
std::string table(std::initializer_list<std::uint32_t> frequencies, const char* tail = "") {
    std::string parts;
    for (const auto word : frequencies)
        parts += R"({"integer": )" + std::to_string(word) + R"(, "width": 4}, "16030000", )";
    return R"({"bytes": [)" + parts + '"' + tail + R"("]})";
}

/// The power manager among services that are not it.
std::string registry(const std::string& properties) {
    return R"("registry": {"AppleARMIODevice": [{"name": "x", "properties": {"name": {"bytes": "706d677232"}}},
        {"name": "y", "properties": {"name": "pmgr"}},
        {"name": "pmgr", "properties": {"name": {"bytes": "706d677200"}, )" +
           properties + "}}]}";
}

TEST(FrequencyTopology, ReadsLadders) {
    for (const auto& [property, ladder] : std::initializer_list<std::pair<std::string, FrequencyLadder>>{
             // MHz
             {table({0, 600'000, 972'000, 0}), {600, 972}},  // kHz
             {table({3'228'000'000, 600'000'000}), {600, 3228}},
             {table({99'999'999}), {99'999'999e-3}},
             {table({100'000'000, 5}), {5e-6, 100}},
             {table({600'000, 972'000}, "55667788"), {600, 972}},  // half a record
             {table({0, 0}), {}},
         }) {
        DescribedPlatform machine("{" + registry("\"voltage-states9-sram\": " + property) + "}");
        const auto ladders = readLadders(machine.platform.registry);
        EXPECT_THAT(ladders.gpu, Pointwise(DoubleEq(), megahertz(ladder))) << property;
        EXPECT_TRUE(ladders.efficiency.empty() && !ladders.middle);
    }
}

TEST(FrequencyTopology, AssignsClustersToLadders) {
    const std::string tables = R"("voltage-states1-sram": )" + table({100'000}) + R"(, "voltage-states5-sram": )" +
                               table({500'000}) + R"(, "voltage-states6-sram": )" + table({600'000}) +
                               R"(, "voltage-states1": )" + table({7}) + R"(, "acc-clusters": {"bytes": ")";
    // The highest MHz of efficiency, performance and middle clusters; 0: empty, -1: absent.
    for (const auto& [clusters, efficiency, performance, middle] :
         std::initializer_list<std::tuple<const char*, double, double, double>>{
             {"", 100, 500, -1},
             {"01000000000000", 100, 500, -1},  // one byte short
             {"0100000000000000 0502000000000000 0602000000000000", 100, 500, -1},
             {"0700000000000000 0100000000000000 0602000000000000 05", 100, 600, -1},
             {"0101000000000000 0502000000000000 0601000000000000", 0, 500, 100},
             {"0701000000000000 0101000000000000", 0, 0, 0},
             {"0103000000000000 05ff000000000000", 0, 0, -1},
         }) {
        DescribedPlatform machine("{" + registry(tables + clusters + "\"}") + "}");
        const auto ladders = readLadders(machine.platform.registry);
        const auto top = [](const FrequencyLadder& ladder) { return ladder.empty() ? 0 : ladder.back() / 1e6; };
        EXPECT_EQ(top(ladders.efficiency), efficiency) << clusters;
        EXPECT_EQ(top(ladders.performance), performance) << clusters;
        EXPECT_EQ(ladders.middle ? top(*ladders.middle) : -1, middle) << clusters;
    }
}

/// A channel that was idle and at its two steps for so long at each reading.
std::string channel(const char* name, const std::string& slow, const std::string& fast) {
    return R"({"name": ")" + std::string(name) +
           R"(", "states": [{"name": "IDLE", "residency": {"start": 7, "rate": 1000}},
        {"name": "V0P1", "residency": )" +
           slow + R"(}, {"name": "V1P0", "residency": )" + fast + "}]},";
}

TEST(FrequencyReader, RemembersWhatWasIdleAndForgetsWhatFailed) {
    const std::string never = "0", once = R"({"list": [0, 10]})";  // moves in the first interval only
    const std::string always = R"({"start": 0, "rate": 100})";
    // In the third sample the clusters fail, then the cores' delta.
    DescribedPlatform machine(
        "{" +
        registry(R"("voltage-states1-sram": )" + table({600'000, 1'200'000}) + R"(, "voltage-states5-sram": )" +
                 table({1'000'000'000, 3'000'000'000}) + R"(, "voltage-states9-sram": )" +
                 table({0, 400'000, 800'000})) +
        R"(, "ioReport": {"paths": ["/System/Library/PrivateFrameworks/IOReport.framework/IOReport"],
            "samples": {"list": [true, true, true, true, true, true, true, true, null, true]},
            "deltas": {"list": [true, true, true, true, false, true]}, "groups": [
            {"group": "CPU Stats", "subgroup": "CPU Complex Performance States", "channels": [)" +
        channel("ECPU", always, always) + channel("PCPU", once, once) + channel("PCPU1", never, once) +
        R"({"name": null}]},
            {"group": "CPU Stats", "subgroup": "CPU Core Performance States", "channels": [)" +
        channel("ECPU010", never, once) + channel("ECPU000", once, never) + channel("PCPU000", never, never) +
        R"({"name": null}]},
            {"group": "GPU Stats", "subgroup": "GPU Performance States", "channels": [)" +
        channel("GPUPH", never, once) + R"({"name": null}]}]}})");
    machine.process.systemSettings.variables["ZQM_DUMP_IOREPORT_CHANNELS"] = "1";
    FrequencyReader reader;
    for (const bool fails : {false, false, true, false}) {
        const auto before = machine.process.clock.monotonic();
        const auto now = reader.sample();
        EXPECT_NEAR((machine.process.clock.monotonic() - before).count(), fails ? 0.1 : 0.2, 1e-9);
        const std::array told{now.efficiencyMHz, now.performanceMHz, now.gpuMHz};
        EXPECT_THAT(told, Pointwise(DoubleEq(), fails ? std::array{0., 0., 0.} : std::array{900., 2000., 800.}));
        EXPECT_THAT((std::array{now.efficiencyMaxMHz, now.performanceMaxMHz, now.gpuMaxMHz}),
                    ElementsAre(1200, 3000, 800));
        const std::map<std::string, double> cores{{"E0", 600}, {"E1", 1200}, {"P0", 0}};
        EXPECT_EQ(now.perCoreMHz, fails ? decltype(cores){} : cores);
    }
    EXPECT_THAT(machine.process.log.lines,
                ElementsAre("==== IOReport channels ====", "  ECPU", "  PCPU", "  PCPU1", "  ?", "  GPUPH", "  ?"));
}

}  // namespace
}  // namespace zqm
