#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "ZQMHelper/Shared/CPUReader.h"
#include "ZQMHelper/Shared/ClockReader.h"
#include "ZQMHelper/Shared/DiskReader.h"
#include "ZQMHelper/Shared/MemoryReader.h"
#include "ZQMHelper/Shared/NetworkReader.h"
#include "tests/fakes/MachinePlatform.h"

namespace zqm {
namespace {

using testing::ElementsAre;
using enum CoreKind;

/// A reading of processors: the ticks of each in user, system, idle and nice mode.
std::string ticks(const std::vector<std::array<int, 4>>& processors) {
    nlohmann::json list;
    for (const auto& [user, system, idle, nice] : processors)
        list.push_back({{"user", user}, {"system", system}, {"idle", idle}, {"nice", nice}});
    return list.dump() + ",";
}

TEST(Reader, CPUUsageIsTheBusyShareOfTheTicksSinceTheLastSample) {
    DescribedPlatform machine(
        R"({"hostStatistics": {"processors": {"list": [)" +
        ticks({{100, 100, 100, 100}, {10, 10, 10, 10}, {5, 5, 5, 5}, {9, 9, 9, 9}}) +
        // 40 busy of 100; stood still; idle stepped back: all of it busy; every busy counter wrapped
        ticks({{130, 110, 160, 100}, {10, 10, 10, 10}, {5, 5, 4, 15}, {0, 0, 19, 0}}) +
        ticks({{130, 110, 160, 100}, {10, 10, 10, 10}}) + "null," + ticks({{140, 110, 170, 100}, {10, 10, 20, 10}}) +
        "null]}}}");
    CPUReader reader;
    EXPECT_THAT(reader.sample().perCoreUsage, ElementsAre(0, 0, 0, 0));
    const auto metrics = reader.sample();
    EXPECT_THAT(metrics.perCoreUsage, ElementsAre(0.4, 0, 1, 0));
    EXPECT_DOUBLE_EQ(metrics.totalUsage, 0.35);
    EXPECT_THAT(reader.sample().perCoreUsage, ElementsAre(0, 0));
    EXPECT_THAT(reader.sample().perCoreUsage, ElementsAre());
    EXPECT_THAT(reader.sample().perCoreUsage, ElementsAre(0.5, 0));  // across the failed query
}

TEST(Reader, CoreKindsFallBackToTheKernelsLevelsOnlyWhenNoNodeTells) {
    const std::vector<CoreKind> levels{efficiency, efficiency, efficiency, performance, performance};
    for (const auto& [nodes, kinds] : std::initializer_list<std::pair<std::string, std::vector<CoreKind>>>{
             {"null", {}},
             {"", levels},
             {R"([{"name": "cpu0", "properties": {"cluster-type": {"bytes": "3f"}}}])", levels},
             {R"([{"name": "cpu0"}, {"name": "cpu1", "properties": {"cluster-type": {"bytes": "45"}}}])",
              {unknown, efficiency}}}) {
        DescribedPlatform machine(R"({"sysctl": {
            "hw.perflevel0.name": "Performance", "hw.perflevel0.physicalcpu": {"integer": 2, "width": 4},
            "hw.perflevel1.name": "Efficiency", "hw.perflevel1.physicalcpu": {"integer": 1, "width": 4},
            "hw.perflevel3.name": "Efficiency", "hw.perflevel3.physicalcpu": {"integer": 3, "width": 4}},
            "registry": {"AppleARMPE": [{"name": "p")" +
                                  (nodes.empty() ? "" : R"(, "children": )" + nodes) + "}]}}");
        EXPECT_EQ(CPUReader::detectCoreKinds(machine.platform), kinds) << nodes;
    }
}

TEST(Reader, MemoryKeepsItsSizeWhenThePagesCannotBeRead) {
    DescribedPlatform machine(R"({"sysctl": {"hw.memsize": {"integer": 4096, "width": 8}}})");
    const auto memory = MemoryReader().sample();
    EXPECT_EQ(memory.totalBytes, 4096u);
    EXPECT_EQ(memory.usedBytes, 0u);
}

TEST(Reader, NetworkCountsEthernetClassInterfacesAlone) {
    DescribedPlatform machine(R"({"networkInterfaces": {"list": [
        [{"name": "lo0", "received": 1, "sent": 1}, {"name": "en0", "received": 1000, "sent": 100}, {"name": "en9"},
         {"name": "eth0", "received": 9, "sent": 9}, {"name": "en7", "received": 10, "sent": 1}],
        [{"name": "en0", "received": 3001010, "sent": 500101}, {"name": "en9", "received": null, "sent": 7}],
        [{"name": "en0", "received": 1010, "sent": 500201}],
        [{"name": "en0", "received": 2010, "sent": 500301}], [{"name": "en0", "received": 2020, "sent": 500301}], null]}})");
    NetworkReader reader;
    // Seconds, bytes a second in each direction, bytes received.
    for (const auto& [seconds, download, upload, downloaded] :
         std::initializer_list<std::array<double, 4>>{{1, 0, 0, 1010},
                                                      {2, 1500000, 250000, 3001010},
                                                      {1, 0, 100, 1010},  // the receive counter wrapped
                                                      {0, 0, 0, 2010},    // no time has passed
                                                      {1, 10, 0, 2020},   // since that sample
                                                      {1, 0, 0, 0}}) {
        machine.process.clock.advance(Seconds(seconds));
        const auto network = reader.sample();
        EXPECT_EQ(network.downloadBytesPerSecond, download);
        EXPECT_EQ(network.uploadBytesPerSecond, upload);
        EXPECT_EQ(static_cast<double>(network.totalDownloaded), downloaded);
    }
}

TEST(Reader, DiskAddsWhatEachDriveTells) {
    DescribedPlatform machine(R"json({"registry": {"IOBlockStorageDriver": [{"name": "silent"},
        {"name": "a", "properties": {"Statistics": {"Bytes (Read)": {"start": 5, "rate": 100}, "Bytes (Write)": "many"}}},
        {"name": "b", "properties": {"Statistics": {"Bytes (Read)": {"start": 7, "rate": 50},
                                                    "Bytes (Write)": {"start": 0, "rate": 7}}}}]}})json");
    DiskReader reader;
    reader.sample();
    machine.process.clock.advance(Seconds(2));
    const auto disk = reader.sample();
    EXPECT_EQ(disk.readBytesPerSecond, 150);
    EXPECT_EQ(disk.writeBytesPerSecond, 7);
}

TEST(ClockReader, DelaysToTheNextWholeSecondButNeverLessThanATick) {
    for (auto [second, delay] : {std::pair{100.25, 0.75}, {100.995, 0.01}, {100.0, 1.0}, {-0.25, 0.25}}) {
        EXPECT_NEAR(ClockReader::delayToNextSecond(WallTime(Seconds(second))).count(), delay, 1e-9) << second;
    }
}

}  // namespace
}  // namespace zqm
