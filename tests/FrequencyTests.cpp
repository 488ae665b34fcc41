#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ZQMHelper/Shared/FrequencyReader.h"
#include "tests/fakes/MachinePlatform.h"

namespace zqm {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

FrequencyLadder megahertz(FrequencyLadder ladder) {
    for (double& frequency : ladder) frequency *= 1e6;
    return ladder;
}

TEST(StateResidency, WeighsTheActiveTime) {
    const FrequencyLadder icestorm{600, 972, 1332, 1704, 2064};
    const FrequencyLadder firestorm{600, 828, 1056, 1284, 1500};
    struct Case {
        StateList states;
        FrequencyLadder ladder;  // MHz
        double mean;             // MHz
    };
    for (const auto& [states, ladder, mean] : std::initializer_list<Case>{
             {{{"IDLE", 800}, {"V0P1", 100}, {"V1P0", 100}}, {600, 1200}, 900},
             {{{"IDLE", 800}, {"V0P1", 100}, {"V1P0", 100}}, {600}, 600},
             {{{"DOWN", 50}, {"IDLE", 50}}, {600, 1200}, 0},
             {{{"OFF", 40}, {"V0", 0}, {"IDLE", 10}, {"V1", 10}}, {600, 1200, 1800}, 1500},  // the later IDLE is active
             {{{"V0", 10}, {"V1", 10}, {"V2", 10}, {"V3", 10}}, {600, 1200}, 1050},          // past the end: the top
             {{{"IDLE", 1}, {"V0", -5}, {"V1", 10}}, {600, 1200}, 1200},
             {{{"V0", 0}}, {600}, 0},
             {{{"V0", 10}}, {}, 0},
             {{}, {600}, 0},
             // What a laptop's clusters and GPU did within two seconds, beside the active frequency that the system's
             // own tool printed for them.
             {{{"IDLE", 1560486833},
               {"V0", 0},
               {"V1", 1856923416},
               {"V2", 88369250},
               {"V3", 26039083},
               {"V4", 47427791}},
              icestorm,
              1022.87},
             {{{"IDLE", 1830090166}, {"V0", 0}, {"V1", 148759666}, {"V2", 26818166}, {"V3", 6874750}, {"V4", 5987500}},
              icestorm,
              1084.65},
             {{{"IDLE", 1986370333},
               {"V0", 1941243416},
               {"V1", 15951666},
               {"V2", 39760541},
               {"V3", 21801125},
               {"V4", 0}},
              firestorm,
              618.173},
             {{{"OFF", 1980028458}, {"P1", 534666}, {"P2", 0}, {"P3", 33009083}}, {396, 528, 720, 924}, 714.836},
         }) {
        EXPECT_NEAR(weighted(states, megahertz(ladder)) / 1e6, mean, 0.02);
    }
}

TEST(StateResidency, WeighsClustersByTheirActiveTime) {
    const FrequencyLadder ladder = megahertz({1000, 2000});
    const StateList slow{{"IDLE", 60}, {"V0", 30}, {"V1", 0}};
    const StateList fast{{"DOWN", 90}, {"V0", 0}, {"V1", 10}};
    const StateList late{{"V0", 10}, {"IDLE", 30}};  // 1750 MHz, but 10 of active time
    EXPECT_DOUBLE_EQ(middle({slow, fast}, ladder), 1250e6);
    EXPECT_DOUBLE_EQ(middle({slow, late}, ladder), 1187.5e6);
    EXPECT_EQ(middle({{{"IDLE", 5}, {"V0", -10}}}, ladder), 0);
    EXPECT_EQ(middle({}, ladder), 0);
}

TEST(StateResidency, RekeysCoresOfTheThirdKind) {
    const std::map<std::string, double> perCore{{"M0", 1}, {"M1", 2}, {"P0", 3}};
    EXPECT_THAT(legacyCoreFrequencies(perCore, {"M", "M", "P"}),
                ElementsAre(Pair("P0", 1), Pair("P1", 2), Pair("P2", 3)));
    EXPECT_THAT(legacyCoreFrequencies(perCore, {"P", "M"}), ElementsAre(Pair("P0", 3), Pair("P1", 1)));
    EXPECT_THAT(legacyCoreFrequencies(perCore, {"M", "M", "M", "P"}),  // the third has no channel
                ElementsAre(Pair("P0", 1), Pair("P1", 2), Pair("P3", 3)));
    EXPECT_EQ(legacyCoreFrequencies(perCore, {"M", "P", "?"}), perCore);
}

/// A voltage-state table of these frequency words as a "bytes" form.
std::string table(std::initializer_list<std::uint32_t> frequencies, const char* tail = "") {
    std::string parts;
    for (const auto word : frequencies)
        parts += R"({"integer": )" + std::to_string(word) + R"(, "width": 4}, "16030000", )";
    return R"({"bytes": [)" + parts + '"' + tail + R"("]})";
}

std::string registry(const std::string& properties, const std::string& cores = "") {
    return R"("registry": {"AppleARMIODevice": [{"name": "x", "properties": {"name": {"bytes": "706d677232"}}},
                {"name": "y", "properties": {"name": "pmgr"}}, {"name": "z", "properties": {"name": {"bytes": "ff00"}}},
                {"name": "pmgr", "properties": {"name": {"bytes": "706d677200"}, )" +
           properties + R"(}}],
            "AppleARMPE": [{"name": "p", "children": [)" +
           cores + "]}]}";
}

TEST(FrequencyTopology, ReadsLadders) {
    struct Case {
        std::string property;
        FrequencyLadder ladder;  // MHz
    };
    for (const auto& [property, ladder] : std::initializer_list<Case>{
             {table({0, 600'000, 972'000, 0}), {600, 972}},  // kHz
             {table({600'000'000, 3'228'000'000}), {600, 3228}},
             {table({99'999'999}), {99'999'999e-3}},
             {table({100'000'000, 5}), {5e-6, 100}},
             {table({2'064'000, 600'000}), {600, 2064}},
             {table({600'000, 972'000}, "55667788"), {600, 972}},  // half a record
             {table({0, 0}), {}},
             {R"({"bytes": ""})", {}},
             {R"("600")", {}},
             {"null", {}},
         }) {
        DescribedPlatform machine("{" + registry("\"voltage-states9-sram\": " + property) + "}");
        const auto ladders = readLadders(machine.platform.registry);
        const auto expected = megahertz(ladder);
        ASSERT_EQ(ladders.gpu.size(), expected.size()) << property;
        for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_DOUBLE_EQ(ladders.gpu[i], expected[i]) << property;
        EXPECT_TRUE(ladders.efficiency.empty() && !ladders.middle);
    }
}

TEST(FrequencyTopology, AssignsClustersToLadders) {
    const std::string tables = R"("voltage-states1-sram": )" + table({100'000}) + R"(, "voltage-states5-sram": )" +
                               table({500'000}) + R"(, "voltage-states6-sram": )" + table({600'000}) +
                               R"(, "voltage-states1": )" + table({7}) + R"(, "acc-clusters": )";
    struct Case {
        const char* clusters;
        double efficiency, performance, middle;  // MHz; 0: empty, -1: absent
    };
    for (const auto& [clusters, efficiency, performance, middle] : std::initializer_list<Case>{
             {"null", 100, 500, -1},
             {R"("01")", 100, 500, -1},
             {R"({"bytes": "01000000000000"})", 100, 500, -1},  // one byte short
             {R"({"bytes": "0100000000000000 0502000000000000 0602000000000000"})", 100, 500, -1},
             {R"({"bytes": "0700000000000000 0100000000000000 0602000000000000 05"})", 100, 600, -1},
             {R"({"bytes": "0101000000000000 0502000000000000"})", 0, 500, 100},
             {R"({"bytes": "0701000000000000 0101000000000000"})", 0, 0, 0},
             {R"({"bytes": "0103000000000000 05ff000000000000"})", 0, 0, -1},
         }) {
        DescribedPlatform machine("{" + registry(tables + clusters) + "}");
        const auto ladders = readLadders(machine.platform.registry);
        const auto top = [](const FrequencyLadder& ladder) { return ladder.empty() ? 0 : ladder.back() / 1e6; };
        EXPECT_EQ(top(ladders.efficiency), efficiency) << clusters;
        EXPECT_EQ(top(ladders.performance), performance) << clusters;
        EXPECT_EQ(ladders.middle ? top(*ladders.middle) : -1, middle) << clusters;
    }
}

TEST(FrequencyTopology, ReadsCoreTypesInTheCoresOrder) {
    DescribedPlatform machine("{" + registry(R"("x": 1)", R"(
        {"name": "cpu10", "properties": {"cluster-type": {"bytes": "4d"}}}, {"name": null}, {"name": "cpus"}, {"name": "cpu"},
        {"name": "cpu2", "properties": {"cluster-type": {"bytes": "5000"}}}, {"name": "cpu1"}, {"name": "cpu+3"},
        {"name": "cpu0", "properties": {"cluster-type": {"bytes": "45"}}},
        {"name": "cpu4", "properties": {"cluster-type": {"bytes": "c328"}}},
        {"name": "cpu5", "properties": {"cluster-type": "P"}})") +
                              "}");
    EXPECT_THAT(readCoreTypes(machine.platform.registry),
                ElementsAre("E", "?", std::string("P\0", 2), "?", "?", "?", "M"));

    DescribedPlatform none(R"({"registry": {"AppleARMIODevice": null, "AppleARMPE": [{"name": "p",
                                                "children": null}]}})");
    EXPECT_THAT(readCoreTypes(none.platform.registry), IsEmpty());
    EXPECT_TRUE(readLadders(none.platform.registry).gpu.empty());
}

/// Two efficiency cores, two performance cores and a GPU; what they do in each of the intervals that are read.
constexpr const char* cores = R"({"name": "cpu0", "properties": {"cluster-type": {"bytes": "45"}}},
    {"name": "cpu1", "properties": {"cluster-type": {"bytes": "45"}}},
    {"name": "cpu2", "properties": {"cluster-type": {"bytes": "50"}}},
    {"name": "cpu3", "properties": {"cluster-type": {"bytes": "50"}}})";

std::string channel(const std::string& name, const std::string& slow, const std::string& fast) {
    return R"({"name": ")" + name + R"(", "states": [{"name": "IDLE", "residency": {"start": 7, "rate": 1000}},
        {"name": "V0P1", "residency": )" +
           slow + R"(}, {"name": "V1P0", "residency": )" + fast + "}]}";
}

/// A counter that moves in the first interval only: idle from then on.
constexpr const char* once = R"({"list": [0, 10]})";

std::string laptop(const std::string& extra = "", const std::string& gpuChannels = "") {
    const std::string gpu = gpuChannels.empty() ? "[" + channel("GPUPH", "0", once) + "]" : gpuChannels;
    return "{" +
           registry(R"("voltage-states1-sram": )" + table({600'000, 1'200'000}) + R"(, "voltage-states5-sram": )" +
                        table({1'000'000'000, 3'000'000'000}) + R"(, "voltage-states9-sram": )" +
                        table({0, 400'000, 800'000}),
                    cores) +
           R"(, "ioReport": {"paths": ["/System/Library/PrivateFrameworks/IOReport.framework/IOReport"], )" + extra +
           R"("groups": [{"group": "CPU Stats", "subgroup": "CPU Complex Performance States", "channels": [)" +
           channel("ECPU", R"({"start": 0, "rate": 100})", R"({"start": 0, "rate": 100})") + ", " +
           channel("PCPU", once, once) + ", " + channel("PCPU1", "0", once) + ", " +
           R"({"name": null}, {"name": "IDLE", "states": []}]},
             {"group": "CPU Stats", "subgroup": "CPU Core Performance States", "channels": [)" +
           channel("ECPU010", "0", once) + ", " + channel("ECPU000", once, "0") + ", " + channel("PCPU000", "0", "0") +
           ", " + channel("PCPU010", once, once) +
           R"(]}, {"group": "GPU Stats", "subgroup": "GPU Performance States", "channels": )" + gpu + "}]}}";
}

TEST(FrequencyReader, WeighsClustersCoresAndGPU) {
    DescribedPlatform machine(laptop());
    FrequencyReader reader;
    const auto before = machine.process.clock.monotonic();
    const auto busy = reader.sample();
    EXPECT_NEAR((machine.process.clock.monotonic() - before).count(), 0.2, 1e-9);
    const auto idle = reader.sample();  // all but the efficiency cluster
    for (const auto& result : {busy, idle}) {
        EXPECT_DOUBLE_EQ(result.efficiencyMHz, 900);
        EXPECT_DOUBLE_EQ(result.performanceMHz, 2000);
        EXPECT_DOUBLE_EQ(result.gpuMHz, 800);
        EXPECT_EQ(result.efficiencyMaxMHz, 1200);
        EXPECT_EQ(result.performanceMaxMHz, 3000);
        EXPECT_EQ(result.gpuMaxMHz, 800);
        EXPECT_THAT(result.perCoreMHz, ElementsAre(Pair("E0", 600), Pair("E1", 1200), Pair("P0", 0), Pair("P1", 2000)));
    }
}

TEST(FrequencyReader, ReportsZerosForAFailedSampleAndRemembers) {
    // The first sample of the second call's clusters fails, then its cores' delta.
    DescribedPlatform machine(laptop(R"("samples": {"list": [true, true, true, true, null, true]},
                                        "deltas": {"list": [true, true, false, true]}, )"));
    FrequencyReader reader;
    reader.sample();
    const auto failed = reader.sample();
    EXPECT_TRUE(failed.efficiencyMHz == 0 && failed.performanceMHz == 0 && failed.gpuMHz == 0);
    EXPECT_EQ(failed.performanceMaxMHz, 3000);
    EXPECT_THAT(failed.perCoreMHz, IsEmpty());
    const auto idle = reader.sample();
    EXPECT_DOUBLE_EQ(idle.performanceMHz, 2000);
    EXPECT_DOUBLE_EQ(idle.perCoreMHz.at("E1"), 1200);
}

TEST(FrequencyReader, LivesWithWhatTheLibraryLacks) {
    struct Case {
        std::string extra;
        double performance;
        std::size_t cores;
    };
    std::vector<Case> cases{
        {R"("missingOperations": ["channelGetUnitLabel", "simpleGetIntegerValue"], )", 2000, 4},
        {R"("subscriptions": {"list": [false, true]}, )", 0, 4},
        {R"("subscriptions": {"list": [true, false]}, )", 2000, 0},
        {R"("samples": {"list": [true, null, true]}, )", 0, 4},
        {R"("deltas": {"list": [null, true]}, )", 0, 4},
    };
    for (const char* operation :
         {"copyChannelsInGroup", "mergeChannels", "createSubscription", "createSamples", "createSamplesDelta",
          "channelGetChannelName", "stateGetCount", "stateGetName", "stateGetResidency"}) {
        cases.push_back({std::string(R"("missingOperations": [")") + operation + R"("], )", 0, 0});
    }
    for (const auto& [extra, performance, coreCount] : cases) {
        DescribedPlatform machine(laptop(extra));
        const auto result = FrequencyReader().sample();
        EXPECT_EQ(result.performanceMHz, performance) << extra;
        EXPECT_EQ(result.perCoreMHz.size(), coreCount) << extra;
        EXPECT_EQ(result.performanceMaxMHz, 3000) << extra;
    }
    DescribedPlatform machine(laptop("", "null"));
    const auto result = FrequencyReader().sample();
    EXPECT_TRUE(result.gpuMHz == 0 && result.performanceMHz == 2000);
}

/// Cores of the third kind take the efficiency cores' place and are keyed by their physical index.
TEST(FrequencyReader, LetsTheThirdKindStandForEfficiency) {
    const std::string cluster = R"({"group": "CPU Stats", "subgroup": "CPU Complex Performance States", "channels": [)";
    DescribedPlatform machine(
        "{" +
        registry(R"("voltage-states1-sram": )" + table({1'000'000, 2'000'000}) + R"(, "voltage-states5-sram": )" +
                     table({4'000'000}) + R"(, "acc-clusters": {"bytes": "0101000000000000 0502000000000000"})",
                 R"({"name": "cpu0", "properties": {"cluster-type": {"bytes": "4d"}}},
                          {"name": "cpu1", "properties": {"cluster-type": {"bytes": "50"}}})") +
        R"(, "ioReport": {"paths": ["/usr/lib/libIOReport.dylib"], "groups": [)" + cluster +
        channel("MCPU0", R"({"list": [0, 30]})", "0") + ", " + channel("MCPU1", "0", once) + ", " +
        channel("MCPUX", "0", R"({"list": [0, 900]})") + ", " + channel("PCPU", once, "0") +
        R"(]}, {"group": "CPU Stats", "subgroup": "CPU Core Performance States", "channels": [)" +
        channel("MCPU000", "0", once) + ", " + channel("PCPU000", once, once) + "]}]}}");
    const auto result = FrequencyReader().sample();
    EXPECT_DOUBLE_EQ(result.efficiencyMHz, 1250);
    EXPECT_EQ(result.efficiencyMaxMHz, 2000);
    EXPECT_DOUBLE_EQ(result.performanceMHz, 4000);
    EXPECT_THAT(result.perCoreMHz, ElementsAre(Pair("P0", 2000), Pair("P1", 4000)));
}

TEST(FrequencyReader, PrintsTheChannelsOnceWhenAsked) {
    for (const auto& [value, lines] : std::initializer_list<std::pair<const char*, std::size_t>>{{"1", 7}, {"01", 0}}) {
        DescribedPlatform machine(laptop());
        machine.process.systemSettings.variables["ZQM_DUMP_IOREPORT_CHANNELS"] = value;
        FrequencyReader reader;
        reader.sample();
        reader.sample();
        const auto& printed = machine.process.log.lines;
        ASSERT_EQ(printed.size(), lines);
        if (lines == 0) continue;
        EXPECT_THAT(printed, ElementsAre("==== IOReport channels ====", "  ECPU", "  PCPU", "  PCPU1", "  ?", "  IDLE",
                                         "  GPUPH"));
    }
}

}  // namespace
}  // namespace zqm
