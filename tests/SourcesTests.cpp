#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Platform/Described/DescribedMachine.h"
#include "Platform/Linux/LinuxSources.h"
#include "Support/Text.h"
#include "ZQMHelper/SourcesReport.h"
#include "tests/fakes/MachinePlatform.h"
#include "tests/fakes/TemporaryTree.h"

namespace zqm {
namespace {

using enum MetricFamily;
using testing::HasSubstr;

/// "place", or "place: why it cannot be read".
std::string describe(SourceReport& sources, MetricFamily family) {
    const auto [place, absence] = sources.describe(family);
    return absence.empty() ? place : place + ": " + absence;
}

TEST(Sources, NameTheFileThatIsReadOrSayWhyNone) {
    TemporaryTree tree;
    tree.write("proc/stat", "");
    std::filesystem::create_directories(tree.path("proc/net/dev"));
    tree.write("sys/class/powercap/intel-rapl:0/name", "psys\n");
    tree.write("sys/class/powercap/intel-rapl:0/energy_uj", "5\n");
    tree.write("sys/class/powercap/intel-rapl:1/name", "package-0\n");
    tree.write("sys/class/powercap/intel-rapl:1/energy_uj", "7\n");
    tree.write("sys/class/powercap/intel-rapl:1:0/name", "dram\n");
    tree.write("sys/class/hwmon/hwmon0/name", "nvme\n");
    tree.write("sys/class/hwmon/hwmon0/temp1_input", "40000\n");
    tree.write("sys/class/hwmon/hwmon1/name", "k10temp\n");  // without a reading: the zone is next
    tree.write("sys/class/thermal/thermal_zone4/type", "x86_pkg_temp\n");
    tree.write("sys/class/thermal/thermal_zone4/temp", "51000\n");
    tree.write("sys/class/power_supply/hid-00:1f:20:aa:bb:cc-battery/type", "Battery\n");  // a mouse's
    tree.write("sys/class/power_supply/hid-00:1f:20:aa:bb:cc-battery/uevent", "POWER_SUPPLY_STATUS=Discharging\n");
    tree.write("sys/class/power_supply/hid-00:1f:20:aa:bb:cc-battery/scope", "Device\n");
    const RootDirectory root(tree.root());
    LinuxSources sources(root);
    struct Case {
        MetricFamily family;
        std::string described;
    };
    for (const auto& [family, described] : std::initializer_list<Case>{
             {cpuUsage, "/proc/stat"},
             {memory, "/proc/meminfo: no such file"},
             {network, "/proc/net/dev: Is a directory"},
             {memoryPressure,
              "/proc/pressure/memory: no such file (the kernel keeps no pressure stall information, or was booted with "
              "psi=0)"},
             {cpuPower, "/sys/class/powercap/intel-rapl:1/energy_uj"},
             {dramPower, "/sys/class/powercap/intel-rapl:1:0/energy_uj: No such file or directory"},
             {systemPower, "/sys/class/powercap/intel-rapl:0/energy_uj"},
             {anePower, ": not measured on Linux"},
             {cpuTemperature, "/sys/class/thermal/thermal_zone4/temp"},
             {battery, "/sys/class/power_supply/*/uevent (Battery): no such file"},
         }) {
        EXPECT_EQ(describe(sources, family), described);
    }
}

struct Report : testing::Test {
    /// The report's lines on the described machine.
    std::vector<std::string> lines(std::string_view description) {
        auto loaded = DescribedMachine::parse(description, fakes.clock);
        auto& machine = *std::get<std::unique_ptr<DescribedMachine>>(loaded);
        Platform platform = platformOn(machine, fakes);
        std::vector<std::string> lines;
        const std::string text = sourcesReport(platform);
        for (std::string_view rest = text; !rest.empty();) lines.emplace_back(takeUntil(rest, '\n'));
        EXPECT_EQ(machine.liveHandles(), 0u);
        return lines;
    }
    FakePlatform fakes;
};

TEST_F(Report, TellsEachFamilysValueAndSource) {
    const auto read = lines(R"({
        "hostStatistics": {"pageSize": 1048576,
            "processors": [{"user": {"start": 5, "rate": 25}, "system": 0, "idle": {"start": 5, "rate": 75}, "nice": 0},
                           {"user": 0, "system": 0, "idle": {"start": 5, "rate": 100}, "nice": 0}],
            "virtualMemory": {"active": 1000, "inactive": 0, "speculative": 0, "wired": 512, "compressor": 24,
                              "purgeable": 0, "external": 0}},
        "sysctl": {"hw.memsize": {"integer": 4294967296, "width": 8},
                   "kern.memorystatus_vm_pressure_level": {"integer": 2, "width": 4}},
        "networkInterfaces": [{"name": "en0", "received": {"start": 7, "rate": 2560}, "sent": {"start": 7, "rate": 31}}],
        "registry": {"AppleARMPE": [{"name": "m", "children": [
            {"name": "cpu0", "properties": {"cluster-type": {"bytes": "50"}}},
            {"name": "cpu1", "properties": {"cluster-type": {"bytes": "45"}}}]}],
            "IOBlockStorageDriver": null}})");
    ASSERT_EQ(read.size(), 1 + allCases<MetricFamily>().size());
    EXPECT_EQ(read[0], "family           value                        time     source");
    EXPECT_EQ(read[1], "cpu usage        12.5 % of 2 processors       0.00 ms  described: hostStatistics/processors");
    EXPECT_EQ(read[2], "core kinds       1 efficiency, 1 performance  0.00 ms  described: registry/AppleARMPE");
    EXPECT_EQ(read[3],
              "memory           1.50 GiB of 4.00 GiB         0.00 ms  described: hostStatistics/virtualMemory");
    EXPECT_EQ(read[4],
              "swap             absent                       0.00 ms  described: sysctl/vm.swapusage: not in the "
              "description");
    EXPECT_THAT(read[5], HasSubstr("  warning  "));
    EXPECT_THAT(read[6], HasSubstr("  in 2.56 kB/s, out 31 B/s  "));
    EXPECT_THAT(read[7], HasSubstr("  read 0 B/s, written 0 B/s  "));  // the source is there, its reading fails
    EXPECT_THAT(read[8], HasSubstr("  absent  "));
}

TEST_F(Report, TellsAReadingThatFailsFromAZero) {
    const auto read = lines(R"({"hostStatistics": {"processors": null}})");
    EXPECT_EQ(read[1], "cpu usage        no reading  0.00 ms  described: hostStatistics/processors");
}

}  // namespace
}  // namespace zqm
