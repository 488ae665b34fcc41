#include <gtest/gtest.h>

#include <thread>

#include "ZQMHelper/Shared/PowerReader.h"
#include "tests/fakes/MachinePlatform.h"

namespace zqm {
namespace {

TEST(EnergyTotals, SortsChannelsAndUnits) {
    struct Case {
        const char *channel, *label;
        double value;
        EnergyTotals totals;
    };
    for (const auto& [channel, label, value, totals] : std::initializer_list<Case>{
             {"EACC_CPU Energy", "mJ", 7, {.cpu = 7}},
             {"PACC0_CPU Energy", "uJ", 2'000'000, {.cpu = 2000}},
             {"DIE_1_CPU Energy", "nJ", 5'000'000'000, {.cpu = 5000}},
             {"GPU Energy", "\xC2\xB5J", 1000, {.gpu = 1}},
             {"GPU Energy", "\xCE\xBCJ", 1000, {.gpu = 1000}},  // the Greek letter is no unit
             {"ANE0_1", "", 3, {.ane = 3}},
             {"DRAM0", "J", 4, {.dram = 4}},
             {"ANE CPU Energy", "nJ/s", 1'000'000, {.cpu = 1}},  // the end of the name counts first
             {"GPU0_0", "mJ", 9, {}},
             {"GPU SRAM0_0", "mJ", 9, {}},
             {"DIE_0_EACC_CPU0", "mJ", 9, {}},
             {"PCIe Port 0 Energy", "uJ", 9, {}},
             {"MY_DRAM", "mJ", 9, {}},
         }) {
        EnergyTotals sum{.cpu = 1, .gpu = 1, .ane = 1, .dram = 1};
        addEnergy(sum, channel, label, value);
        EXPECT_DOUBLE_EQ(sum.cpu, totals.cpu + 1) << channel;
        EXPECT_DOUBLE_EQ(sum.gpu, totals.gpu + 1) << channel;
        EXPECT_DOUBLE_EQ(sum.ane, totals.ane + 1) << channel;
        EXPECT_DOUBLE_EQ(sum.dram, totals.dram + 1) << channel;
    }
}

/// Energy channels beside a controller whose system power is readable, in a library with these extra members.
std::string energyMachine(const std::string& channels, const std::string& extra = "",
                          const std::string& keys = R"("PSTR": {"type": "flt ", "value": 12.5})") {
    return R"({"ioReport": {"paths": ["/usr/lib/libIOReport.dylib"], )" + extra +
           R"("groups": [{"group": "Energy Model", "subgroup": "x", "channels": )" + channels +
           R"(}]}, "registry": {"AppleSMC": [{"name": "AppleSMC", "userClient": {)" + keys + "}}]}}";
}

struct PowerTicks {
    explicit PowerTicks(const std::string& description) : machine(description) {}

    PowerMetrics next(double seconds = 1) {
        machine.process.clock.advance(Seconds(seconds));
        return reader.sample();
    }
    DescribedPlatform machine;
    PowerReader reader{std::make_shared<SMCBridge>()};
};

TEST(PowerReader, ReportsTheGrowthBetweenSamples) {
    PowerTicks ticks(energyMachine(R"([
        {"name": "EACC_CPU Energy", "unit": "mJ", "value": {"list": [1000, 3000, 100, 600]}},
        {"name": "GPU Energy", "unit": "nJ", "value": {"start": 5, "rate": 500000000}},
        {"name": "DRAM0", "unit": "uJ", "value": {"start": 0, "rate": 250000}},
        {"name": null, "value": {"start": 0, "rate": 9000000}}])"));
    const PowerMetrics first = ticks.next();
    EXPECT_TRUE(first.totalWatts == 0 && first.systemWatts == 0);
    const PowerMetrics second = ticks.next();
    EXPECT_DOUBLE_EQ(second.cpuWatts, 2);
    EXPECT_DOUBLE_EQ(second.gpuWatts, 0.5);
    EXPECT_DOUBLE_EQ(second.dramWatts, 0.25);
    EXPECT_DOUBLE_EQ(second.totalWatts, 2.75);
    EXPECT_EQ(second.systemWatts, 12.5);
    EXPECT_EQ(ticks.next().cpuWatts, 0);  // the counter fell
    EXPECT_DOUBLE_EQ(ticks.next(0.5).cpuWatts, 1);
    const PowerMetrics atOnce = ticks.next(0);
    EXPECT_TRUE(atOnce.totalWatts == 0 && atOnce.systemWatts == 0);
}

/// Counters of a machine that publishes them in bursts: half a second of work arrives in one step of 119 ms.
TEST(PowerReader, ReportsBurstsAsTheyCome) {
    PowerTicks ticks(energyMachine(R"([
        {"name": "DIE_0_CPU Energy", "unit": "mJ", "value": {"list": [0, 4606, 4606]}},
        {"name": "DIE_1_CPU Energy", "unit": "mJ", "value": {"list": [0, 573, 573]}},
        {"name": "GPU0_0", "unit": "mJ", "value": {"list": [0, 17, 17]}},
        {"name": "ANE0_0", "unit": "mJ", "value": {"list": [0, 46, 46]}},
        {"name": "ANE0_1", "unit": "mJ", "value": {"list": [0, 11, 11]}},
        {"name": "DRAM0_0", "unit": "mJ", "value": {"list": [0, 646, 646]}},
        {"name": "DRAM0_1", "unit": "mJ", "value": {"list": [0, 638, 638]}},
        {"name": "GPU Energy", "unit": "nJ", "value": {"list": [9148120, 42060580, 64824610]}}])"));
    ticks.next();
    const PowerMetrics burst = ticks.next(0.119);
    EXPECT_NEAR(burst.cpuWatts, 43.521, 0.001);
    EXPECT_NEAR(burst.gpuWatts, 0.2766, 0.0001);
    EXPECT_NEAR(burst.aneWatts, 0.479, 0.001);
    EXPECT_NEAR(burst.dramWatts, 10.7899, 0.0001);
    const PowerMetrics lull = ticks.next(0.119);
    EXPECT_NEAR(lull.totalWatts, 0.1913, 0.0001);
    EXPECT_EQ(lull.cpuWatts, 0);
}

TEST(PowerReader, MeasuresAcrossSamplesThatFail) {
    const std::string channels = R"([{"name": "GPU Energy", "unit": "mJ", "value": {"list": [0, 3000, 6000]}}])";
    PowerTicks ticks(energyMachine(channels, R"("samples": {"list": [true, null, false, true]}, )"));
    for (int i = 0; i < 3; ++i) EXPECT_EQ(ticks.next().systemWatts, 0);
    EXPECT_DOUBLE_EQ(ticks.next().gpuWatts, 2);  // 6 J in the three seconds since the first one
}

TEST(PowerReader, ReportsZerosWithoutTheLibrary) {
    const std::string channels = R"([{"name": "GPU Energy", "unit": "uJ", "value": {"start": 0, "rate": 1000000}}])";
    struct Case {
        std::string channels, extra;
        double gpu, system;
    };
    for (const auto& [list, extra, gpu, system] : std::initializer_list<Case>{
             {channels, "", 1, 12.5},
             {channels, R"("missingOperations": ["channelGetUnitLabel"], )", 1000, 12.5},  // counts as mJ
             {channels, R"("missingOperations": ["simpleGetIntegerValue"], )", 0, 12.5},
             {channels, R"("missingOperations": ["stateGetResidency"], )", 0, 0},
             {channels, R"("missingOperations": ["copyChannelsInGroup"], )", 0, 0},
             {channels, R"("missingOperations": ["createSubscription"], )", 0, 0},
             {channels, R"("subscriptions": false, )", 0, 0},
             {"null", "", 0, 0},
             {"[]", "", 0, 12.5},
         }) {
        PowerTicks ticks(energyMachine(list, extra));
        ticks.next();
        const PowerMetrics power = ticks.next();
        EXPECT_DOUBLE_EQ(power.gpuWatts, gpu) << list << extra;
        EXPECT_EQ(power.systemWatts, system) << list << extra;
    }
}

TEST(PowerReader, ReadsSystemAndDisplayFromTheController) {
    struct Case {
        const char* keys;
        double system, display;
    };
    for (const auto& [keys, system, display] : std::initializer_list<Case>{
             {R"("PSTR": {"type": "flt ", "value": 8.25}, "PBwo": {"type": "flt ", "value": 3.5},
                 "PDBR": {"type": "flt ", "value": 4.25})",
              8.25, 3.5},
             {R"("PBwo": {"type": "flt ", "value": 0}, "PDBR": {"type": "flt ", "value": 4.25})", 0, 4.25},
             {R"("PBwo": {"type": "ui16", "value": {"bytes": "0300"}}, "PDBR": {"type": "flt ", "value": 4.25})", 0,
              4.25},
             {R"("PBwo": {"type": "flt ", "value": {"float": "nan"}}, "PDBR": {"type": "flt ", "value": -2})", 0, 0},
             {R"("PSTR": {"type": "flt\u0000", "value": {"bytes": "00 00 20 40"}})", 2.5, 0},
             {R"("PSTR": {"type": "ioft", "value": {"bytes": "0000204000000000"}})", 0, 0},
             {R"("PSTR": {"type": "flt ", "value": {"float": "inf"}})", 0, 0},
             {R"("PSTR": {"type": "flt ", "value": 5, "result": 132})", 0, 0},
             {R"("PSTR": {"type": "flt ", "value": null}, "PBwo": null)", 0, 0},
             {"", 0, 0},
         }) {
        PowerTicks ticks(energyMachine("[]", "", keys));
        ticks.next();
        const PowerMetrics power = ticks.next();
        EXPECT_EQ(power.systemWatts, system) << keys;
        EXPECT_EQ(power.displayWatts, display) << keys;
    }
}

TEST(SMCBridge, OpensTheFirstControllerOnce) {
    const std::string keys = R"("userClient": {"PSTR": {"type": "flt ", "value": 5}}}])";
    struct Case {
        std::string registry;
        bool isAvailable;
    };
    for (const auto& [registry, isAvailable] : std::initializer_list<Case>{
             {R"("AppleSMCKeysEndpoint": [{"name": "e", )" + keys, true},
             {R"("AppleSMCKeysEndpoint": null, "AppleSMC": [{"name": "s", )" + keys, true},
             // A controller that refuses is not replaced by the other one.
             {R"("AppleSMCKeysEndpoint": [{"name": "e"}], "AppleSMC": [{"name": "s", )" + keys, false},
             {R"("AppleSMC": [{"name": "s", "userClient": {"list": [null, {}]}}])", false},
             {"", false},
         }) {
        DescribedPlatform machine(R"({"registry": {)" + registry + "}}");
        SMCBridge smc;
        EXPECT_EQ(smc.SMCPowerAvailable(), isAvailable) << registry;
        EXPECT_EQ(smc.SMCPowerAvailable(), isAvailable) << registry;  // what failed is not tried again
        EXPECT_EQ(smc.SMCPowerRead("PSTR"), isAvailable ? 5 : -1) << registry;
        EXPECT_EQ(smc.SMCPowerRead("PST"), -1);
        EXPECT_EQ(machine.machine->liveHandles(), isAvailable ? 1u : 0u);
    }
}

TEST(SMCBridge, OpensOnceForTwoFirstCallers) {
    DescribedPlatform machine(R"({"registry": {"AppleSMC": [{"name": "s",
        "userClient": {"list": [{"PSTR": {"type": "flt ", "value": 5}}, null]}}]}})");
    SMCBridge smc;
    std::atomic<int> ready = 0;
    double values[2] = {};
    const auto call = [&](double& value) {
        for (++ready; ready < 2;) std::this_thread::yield();
        value = smc.SMCPowerRead("PSTR");
    };
    std::thread other(call, std::ref(values[0]));
    call(values[1]);
    other.join();
    EXPECT_TRUE(values[0] == 5 && values[1] == 5);
    EXPECT_EQ(machine.machine->liveHandles(), 1u);
}

}  // namespace
}  // namespace zqm
