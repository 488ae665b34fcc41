#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ZQMHelper/Shared/PowerReader.h"
#include "tests/fakes/MachinePlatform.h"

namespace zqm {
namespace {

using testing::DoubleEq;
using testing::Pointwise;

TEST(EnergyTotals, SortsChannelsAndUnits) {
    struct Case {
        const char *channel, *label;
        double value, cpu, gpu, ane, dram;  // mJ
    };
    for (const auto& [channel, label, value, cpu, gpu, ane, dram] : std::initializer_list<Case>{
             {"EACC_CPU Energy", "mJ", 7, 7, 0, 0, 0},
             {"PACC0_CPU Energy", "uJ", 2'000'000, 2000, 0, 0, 0},
             {"DIE_1_CPU Energy", "nJ", 5'000'000'000, 5000, 0, 0, 0},
             {"GPU Energy", "\xC2\xB5J", 1000, 0, 1, 0, 0},
             {"GPU Energy", "\xCE\xBCJ", 1000, 0, 1000, 0, 0},  // the Greek letter is no unit
             {"ANE0_1", "", 3, 0, 0, 3, 0},
             {"DRAM0", "J", 4, 0, 0, 0, 4},
             {"ANE CPU Energy", "nJ/s", 1'000'000, 1, 0, 0, 0},  // the end of the name counts first
             {"GPU SRAM0_0", "mJ", 9, 0, 0, 0, 0},
             {"DIE_0_EACC_CPU0", "mJ", 9, 0, 0, 0, 0},
             {"MY_DRAM", "mJ", 9, 0, 0, 0, 0}}) {
        EnergyTotals sum{.cpu = 1, .gpu = 1, .ane = 1, .dram = 1};
        addEnergy(sum, channel, label, value);
        EXPECT_THAT((std::array{sum.cpu, sum.gpu, sum.ane, sum.dram}),
                    Pointwise(DoubleEq(), std::array{cpu + 1, gpu + 1, ane + 1, dram + 1}))
            << channel;
    }
}

TEST(PowerReader, ReportsTheGrowthBetweenSamples) {
    DescribedPlatform machine(R"({"registry": {"AppleSMC": [{"name": "c", "userClient": {
            "PSTR": {"type": "flt ", "value": 12.5}}}]},
        "ioReport": {"paths": ["/usr/lib/libIOReport.dylib"], "samples": {"list": [true, true, true, null, false, true]},
            "groups": [{"group": "Energy Model", "subgroup": "x", "channels": [
                {"name": "EACC_CPU Energy", "unit": "mJ", "value": {"list": [1000, 3000, 100, 600]}},
                {"name": "GPU Energy", "unit": "nJ", "value": {"start": 5, "rate": 500000000}},
                {"name": "DRAM0", "unit": "uJ", "value": {"start": 0, "rate": 250000}},
                {"name": "ANE0", "value": {"start": 0, "rate": 1000}},
                {"name": null, "value": {"start": 0, "rate": 9000000}}]},
                {"group": "Energy Model", "subgroup": "y", "channels": null}]}})");
    PowerReader reader{std::make_shared<SMCBridge>()};
    // Seconds; W of the processors, of the other parts and of the machine.
    for (const auto& [seconds, cpu, others, system] :
         std::initializer_list<std::array<double, 4>>{{1, 0, 0, 0},
                                                      {1, 2, 1.75, 12.5},
                                                      {0.5, 0, 1.75, 12.5},    // the processors' counter fell
                                                      {1, 0, 0, 0},            // no sample
                                                      {1, 0, 0, 0},            // one without channels
                                                      {0.5, 0.2, 1.75, 12.5},  // the growth since the last good one
                                                      {0, 0, 0, 0}}) {
        machine.process.clock.advance(Seconds(seconds));
        const PowerMetrics power = reader.sample();
        EXPECT_DOUBLE_EQ(power.cpuWatts, cpu);
        EXPECT_DOUBLE_EQ(power.totalWatts, cpu + others);
        EXPECT_EQ(power.dramWatts, others > 0 ? 0.25 : 0);
        EXPECT_EQ(power.systemWatts, system);
    }
}

TEST(PowerReader, ReadsSystemAndDisplayFromTheController) {
    // A controller's keys with the type and the value of each.
    for (const auto& [keys, system, display] : std::initializer_list<std::tuple<std::string, double, double>>{
             {R"("PSTR": {"type": "flt ", "value": 8.25}, "PBwo": {"type": "flt ", "value": 3.5})", 8.25, 3.5},
             {R"("PBwo": {"type": "flt ", "value": 0})", 0, 4.25},
             {R"("PBwo": {"type": "ui16", "value": {"bytes": "0300"}})", 0, 4.25},
             {R"("PBwo": {"type": "flt ", "value": {"float": "nan"}})", 0, 4.25},
             {R"("PSTR": {"type": "flt\u0000", "value": {"bytes": "00 00 20 40"}})", 2.5, 4.25},
             {R"("PBwo": {"type": "flt ", "value": {"float": "inf"}})", 0, 0},
             {R"("PSTR": {"type": "flt ", "value": {"float": "inf"}})", 0, 4.25},
             {R"("PSTR": {"type": "flt ", "value": 5, "result": 132})", 0, 4.25}}) {
        DescribedPlatform machine(R"({"ioReport": {"paths": ["/usr/lib/libIOReport.dylib"], "groups": [
            {"group": "Energy Model", "subgroup": "", "channels": []}]}, "registry": {"AppleSMC": [{"name": "c",
            "userClient": {"PDBR": {"type": "flt ", "value": 4.25}, )" +
                                  keys + "}}]}}");
        PowerReader reader{std::make_shared<SMCBridge>()};
        reader.sample();
        machine.process.clock.advance(Seconds(1));
        const PowerMetrics power = reader.sample();
        EXPECT_EQ(power.systemWatts, system) << keys;
        EXPECT_EQ(power.displayWatts, display) << keys;
    }
}

TEST(SMCBridge, OpensTheFirstControllerOnce) {
    const std::string keys = R"("userClient": {"PSTR": {"type": "flt ", "value": 5}}}])";
    for (const auto& [registry, isAvailable] : std::initializer_list<std::pair<std::string, bool>>{
             {R"("AppleSMCKeysEndpoint": [{"name": "e", )" + keys, true},
             {R"("AppleSMCKeysEndpoint": null, "AppleSMC": [{"name": "s", )" + keys, true},
             // A controller that refuses is not replaced by the other one, nor asked again.
             {R"("AppleSMCKeysEndpoint": [{"name": "e"}], "AppleSMC": [{"name": "s", )" + keys, false},
             {R"("AppleSMC": [{"name": "s", "userClient": {"list": [null, {}]}}])", false},
         }) {
        DescribedPlatform machine(R"({"registry": {)" + registry + "}}");
        SMCBridge smc;
        for (int i = 0; i < 2; ++i) EXPECT_EQ(smc.SMCPowerAvailable(), isAvailable) << registry;
        EXPECT_EQ(smc.SMCPowerRead("PSTR"), isAvailable ? 5 : -1) << registry;
        EXPECT_EQ(smc.SMCPowerRead("PST"), -1);
    }
}

}  // namespace
}  // namespace zqm
