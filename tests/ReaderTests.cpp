#include <gtest/gtest.h>

#include <limits>

#include "ZQMHelper/Shared/CPUReader.h"
#include "ZQMHelper/Shared/ClockReader.h"
#include "ZQMHelper/Shared/DiskReader.h"
#include "ZQMHelper/Shared/MemoryReader.h"
#include "ZQMHelper/Shared/NetworkReader.h"
#include "tests/fakes/FakePlatform.h"

namespace zqm {
namespace {

using enum CoreKind;
using Kinds = std::vector<CoreKind>;

struct Reader : testing::Test {
    FakePlatform machine;
};

FakeNode processor(const std::string& name, std::optional<std::string> type) {
    FakeNode node{.name = name, .properties = {}};
    if (type) node.properties.emplace_back("cluster-type", Bytes(type->begin(), type->end()));
    return node;
}

TEST_F(Reader, CPUUsageIsTheBusyShareOfTheTicksSinceTheLastSample) {
    auto& ticks = machine.hostStatistics.ticks;
    ticks = {{{.user = 100, .system = 100, .idle = 100, .nice = 100}, {10, 10, 10, 10}, {5, 5, 5, 5}, {9, 9, 9, 9}}};
    CPUReader reader;
    EXPECT_EQ(reader.sample().perCoreUsage, (std::vector<double>{0, 0, 0, 0}));
    ticks = {{{130, 110, 160, 100},  // 30 + 10 busy of 100
              {10, 10, 10, 10},      // stood still
              {5, 5, 4, 15},         // idle stepped back: all of it busy
              {0, 0, 19, 0}}};       // every busy counter wrapped
    const auto metrics = reader.sample();
    EXPECT_EQ(metrics.perCoreUsage, (std::vector<double>{0.4, 0, 1, 0}));
    EXPECT_DOUBLE_EQ(metrics.totalUsage, 0.35);
    ticks->pop_back();
    EXPECT_EQ(reader.sample().perCoreUsage, (std::vector<double>{0, 0, 0}));
    ticks = std::nullopt;
    EXPECT_TRUE(reader.sample().perCoreUsage.empty());
    ticks = {{{140, 110, 170, 100}, {10, 10, 20, 10}, {5, 5, 4, 15}}};
    EXPECT_EQ(reader.sample().perCoreUsage, (std::vector<double>{0.5, 0, 0}));  // across the failed query
}

TEST_F(Reader, CPUUsageStaysAFractionWhateverTheTicks) {
    constexpr auto most = std::numeric_limits<std::uint64_t>::max();
    CPUReader reader;
    for (const ProcessorTicks& ticks :
         {ProcessorTicks{0, 0, 0, 0}, {most, most, most, most}, {0, most, 1, 3}, {7, 0, 0, 0}}) {
        machine.hostStatistics.ticks = {{ticks}};
        const double usage = reader.sample().totalUsage;
        EXPECT_TRUE(usage >= 0 && usage <= 1) << usage;
    }
}

TEST_F(Reader, CoreKindsComeFromTheProcessorNodesInTheirOrder) {
    machine.registry.classes["AppleARMPE"] = {
        {.name = "AppleARMPE",
         .properties = {},
         .children = std::vector<FakeNode>{
             processor("cpu10", "P"), processor("cpu2", "E"), processor("cpu0", "E"), processor("cpu1", "P"),
             processor("cpu", "P"), processor("cpuX", "P"), processor("gpu3", "P"), processor("cpu11", "M"),
             processor("cpu12", std::nullopt), processor("cpu13", std::string("E\0", 2))}}};
    EXPECT_EQ(CPUReader::detectCoreKinds(machine.platform),
              (Kinds{efficiency, performance, efficiency, performance, performance, unknown, unknown}));
    EXPECT_EQ(machine.registry.live, 0);
}

TEST_F(Reader, CoreKindsFallBackToTheKernelsLevelsOnlyWhenNoNodeTells) {
    machine.sysctl.setText("hw.perflevel0.name", "Performance");
    machine.sysctl.set<std::int32_t>("hw.perflevel0.physicalcpu", 2);
    machine.sysctl.setText("hw.perflevel1.name", "Efficiency");
    machine.sysctl.set<std::int32_t>("hw.perflevel1.physicalcpu", 1);
    machine.sysctl.setText("hw.perflevel2.name", "Efficiency");
    machine.sysctl.set<std::int32_t>("hw.perflevel2.physicalcpu", 3);  // replaces, is not added
    const Kinds levels{efficiency, efficiency, efficiency, performance, performance};
    auto& nodes = machine.registry.classes["AppleARMPE"];
    EXPECT_EQ(CPUReader::detectCoreKinds(machine.platform), Kinds{});  // no such service
    nodes = {{.name = "", .properties = {}, .children = std::nullopt}};
    EXPECT_EQ(CPUReader::detectCoreKinds(machine.platform), Kinds{});
    nodes = {{.name = "", .properties = {}, .children = std::vector<FakeNode>{}}};
    EXPECT_EQ(CPUReader::detectCoreKinds(machine.platform), levels);
    nodes = {{.name = "", .properties = {}, .children = std::vector<FakeNode>{processor("cpu0", "?")}}};
    EXPECT_EQ(CPUReader::detectCoreKinds(machine.platform), levels);

    machine.hostStatistics.ticks.emplace(5);
    EXPECT_EQ(CPUReader().sample().coreKinds, levels);
    machine.hostStatistics.ticks.emplace(8);
    EXPECT_EQ(CPUReader().sample().coreKinds, Kinds(8, unknown));
}

TEST_F(Reader, MemoryFollowsThePageCounts) {
    machine.sysctl.set<std::uint64_t>("hw.memsize", 17179869184);
    machine.sysctl.set<std::int32_t>("kern.memorystatus_vm_pressure_level", 4);
    machine.hostStatistics.pages = {.active = 100000,
                                    .inactive = 90000,
                                    .speculative = 5000,
                                    .wired = 200000,
                                    .compressor = 50000,
                                    .purgeable = 1000,
                                    .external = 40000};
    MemoryReader reader;
    auto memory = reader.sample();
    EXPECT_EQ(memory.totalBytes, 17179869184u);
    EXPECT_EQ(memory.usedBytes, 6619136000u);
    EXPECT_EQ(memory.appBytes, 2523136000u);
    EXPECT_EQ(memory.wiredBytes, 3276800000u);
    EXPECT_EQ(memory.compressedBytes, 819200000u);
    EXPECT_EQ(memory.pressureLevel, 4);
    EXPECT_NEAR(memory.pressureFraction, 0.2384, 0.00005);
    EXPECT_EQ(memory.swapTotalBytes, 0u);  // "vm.swapusage" is unknown here
    machine.sysctl.set("vm.swapusage", std::array<std::uint64_t, 4>{1000, 600, 400, 16384});
    memory = reader.sample();
    EXPECT_EQ(memory.swapTotalBytes, 1000u);
    EXPECT_EQ(memory.swapUsedBytes, 400u);
    machine.hostStatistics.pages = std::nullopt;
    memory = reader.sample();
    EXPECT_EQ(memory.totalBytes, 17179869184u);
    EXPECT_EQ(memory.usedBytes + memory.swapTotalBytes, 0u);
}

TEST_F(Reader, MemoryNeverWrapsAndNeverDividesByZero) {
    machine.hostStatistics.pages = {.active = 10, .wired = 3, .purgeable = 8, .external = 8};
    auto memory = MemoryReader().sample();
    EXPECT_EQ(memory.appBytes, 0u);
    EXPECT_EQ(memory.usedBytes, 3u * 16384);
    EXPECT_EQ(memory.pressureFraction, 0);
    constexpr auto most = std::numeric_limits<std::uint64_t>::max();
    machine.hostStatistics.pages = {.active = most, .inactive = most, .wired = most, .compressor = most};
    EXPECT_EQ(MemoryReader().sample().usedBytes, most);
}

TEST_F(Reader, NetworkCountsEthernetClassInterfacesAlone) {
    auto& links = machine.networkInterfaces.list;
    links = {{{"lo0", {{1, 1}}},
              {"en0", {{1000, 100}}},
              {"utun3", {{9, 9}}},
              {"en7", {{10, 1}}},
              {"en9", {}},
              {"awdl0", {{5, 5}}}}};
    NetworkReader reader;
    auto network = reader.sample();
    EXPECT_EQ(network.totalDownloaded, 1010u);
    EXPECT_EQ(network.totalUploaded, 101u);
    EXPECT_EQ(network.downloadBytesPerSecond, 0);
    machine.clock.advance(Seconds(2));
    links = {{{"en0", {{3001010, 500101}}}}};
    network = reader.sample();
    EXPECT_EQ(network.downloadBytesPerSecond, 1500000);
    EXPECT_EQ(network.uploadBytesPerSecond, 250000);
    machine.clock.advance(Seconds(1));
    links = {{{"en0", {{1010, 500201}}}}};  // the receive counter wrapped
    network = reader.sample();
    EXPECT_EQ(network.downloadBytesPerSecond, 0);
    EXPECT_EQ(network.uploadBytesPerSecond, 100);
    links = {{{"en0", {{2010, 500301}}}}};  // no time has passed
    EXPECT_EQ(reader.sample().downloadBytesPerSecond, 0);
    machine.clock.advance(Seconds(1));
    links = {{{"en0", {{2020, 500301}}}}};
    EXPECT_EQ(reader.sample().downloadBytesPerSecond, 10);  // since the sample before, not the one before that
    links = std::nullopt;
    EXPECT_EQ(reader.sample().totalDownloaded, 0u);
}

TEST_F(Reader, DiskAddsWhatEachDriveTells) {
    const auto drive = [](PropertyDictionary statistics) {
        return FakeNode{.name = "", .properties = {{"Statistics", std::move(statistics)}}};
    };
    auto& drives = machine.registry.classes["IOBlockStorageDriver"];
    drives = {drive({}), {.name = "", .properties = {{"Statistics", std::string("no dictionary")}}}, {}};
    DiskReader reader;
    reader.sample();
    machine.clock.advance(Seconds(0.5));
    drives = {drive({{"Bytes (Read)", std::int64_t{100}}, {"Bytes (Write)", std::string("many")}}),
              drive({{"Bytes (Read)", 50.0}, {"Bytes (Write)", std::int64_t{7}}})};
    const auto disk = reader.sample();
    EXPECT_EQ(disk.readBytesPerSecond, 300);
    EXPECT_EQ(disk.writeBytesPerSecond, 14);
    EXPECT_EQ(machine.registry.live, 0);
    machine.registry.failing.insert("IOBlockStorageDriver");
    machine.clock.advance(Seconds(1));
    EXPECT_EQ(reader.sample().readBytesPerSecond, 0);
}

TEST(ClockReader, DelaysToTheNextWholeSecondButNeverLessThanATick) {
    for (auto [second, delay] : {std::pair{100.25, 0.75}, {100.995, 0.01}, {100.0, 1.0}, {-0.25, 0.25}}) {
        EXPECT_NEAR(ClockReader::delayToNextSecond(WallTime(Seconds(second))).count(), delay, 1e-9) << second;
    }
}

}  // namespace
}  // namespace zqm
