#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "Platform/Linux/LinuxMachine.h"
#include "tests/fakes/TemporaryTree.h"

namespace zqm {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::unique_ptr<RegistryEntry>> drives(LinuxMachine& machine) {
    return machine.services().registry.services("IOBlockStorageDriver").value();
}

std::vector<std::string> driveNames(LinuxMachine& machine) {
    std::vector<std::string> names;
    for (const auto& drive : drives(machine)) names.push_back(drive->name().value());
    return names;
}

TEST(LinuxDrives, AreWholeAndReal) {
    std::string rows;
    for (const char* name :
         {"ram0",    "loop0",     "nbd0",         "sda",       "sda1", "sdaa", "dm-0",  "md127", "md_d0",
          "zram0",   "nvme0n1",   "nvme0n1p1",    "nvme0c1n1", "vda",  "vda3", "xvda",  "xvda1", "hdb",
          "mmcblk0", "mmcblk0p1", "mmcblk0boot0", "rbd0",      "sr0",  "sd",   "nvme0", "mmcblk"}) {
        rows += "   8       0 " + std::string(name) + " 1 0 2 0 1 0 4 0 0 0 0\n";
    }
    TemporaryTree tree;
    tree.write("proc/diskstats", rows);
    LinuxMachine withoutSysfs(tree.root());
    EXPECT_THAT(driveNames(withoutSysfs), ElementsAre("sda", "sdaa", "nvme0n1", "vda", "xvda", "hdb", "mmcblk0"));
    for (const char* name : {"nvme0c1n1", "mmcblk0boot0", "rbd0", "sr0"}) {
        tree.write("sys/block/" + std::string(name) + "/device/type", "");
    }
    tree.write("sys/block/dm-0/size", "5\n");
    LinuxMachine machine(tree.root());
    EXPECT_THAT(driveNames(machine),
                ElementsAre("sda", "sdaa", "nvme0n1", "vda", "xvda", "hdb", "mmcblk0", "mmcblk0boot0", "rbd0", "sr0"));
}

TEST(LinuxDrives, CountSectorsOf512Bytes) {
    TemporaryTree tree;
    LinuxMachine machine(tree.root());
    auto bytes = [&](std::string_view row) {
        tree.write("proc/diskstats", row);
        std::vector<std::int64_t> counts;
        for (const auto& drive : drives(machine)) {
            const auto statistics = drive->property("Statistics");
            const PropertyDictionary* values = asDictionary(&*statistics);
            counts.push_back(asInteger(find(*values, "Bytes (Read)")).value());
            counts.push_back(asInteger(find(*values, "Bytes (Write)")).value());
        }
        return counts;
    };
    EXPECT_THAT(bytes("8 0 sda 10 20 30 40 50 60 70 80 0 0 0 1 2 3 4 5 6\n"), ElementsAre(30 * 512, 70 * 512));
    EXPECT_THAT(bytes("8 0 sda 1 1 18446744073709551615 1 1 1 7 1\n"), ElementsAre(INT64_MAX, 7 * 512));
    EXPECT_THAT(bytes("8 0 sda 1 1 18446744073709551616 1 1 1 7 1\n"), IsEmpty());
    EXPECT_THAT(bytes("8 0 sda 1 2 30 4 5 6 7"), IsEmpty()) << "cut within a figure";
    EXPECT_THAT(bytes("8 0 sda 1 1\n8 16 sdb 1 1 2 1 1 1 3 1\n"), ElementsAre(2 * 512, 3 * 512));
    tree.remove("proc");
    EXPECT_THAT(driveNames(machine), IsEmpty());
}

TEST(LinuxDrives, ComeAndGo) {
    TemporaryTree tree;
    LinuxMachine machine(tree.root());
    tree.write("sys/block/rbd1/device/type", "");
    tree.write("proc/diskstats", "8 0 dm-0 1 0 2 0 1 0 4 0\n8 0 sda 1 0 2 0 1 0 4 0\n");
    EXPECT_THAT(driveNames(machine), ElementsAre("sda"));
    tree.write("proc/diskstats", "8 0 rbd1 1 0 2 0 1 0 4 0\n8 0 dm-0 1 0 2 0 1 0 4 0\n");
    EXPECT_THAT(driveNames(machine), ElementsAre("rbd1"));
}

/// The files of a machine in full; each is then cut after every byte, as when a device goes away during a read.
TEST(LinuxMachine, SurvivesFilesCutAnywhere) {
    const std::initializer_list<std::pair<const char*, std::string_view>> files{
        {"proc/stat", "cpu  7 0 2 9 1 0 0 0 0 0\ncpu0 4 0 1 5 0 0 0 0 0 0\ncpu1 3 0 1 4 1 0 0 0 0 0\nintr 5 1\n"},
        {"proc/meminfo",
         "MemTotal: 8000 kB\nMemAvailable: 3000 kB\nSUnreclaim: 10 kB\nSwapTotal: 9 kB\nSwapFree: 8 kB\n"},
        {"proc/pressure/memory", "some avg10=1.00 avg60=0.00\nfull avg10=0.00 avg60=0.00\n"},
        {"proc/net/dev", "Inter-| R\n face |b\n    lo: 1 2 3 4 5 6 7 8 9 0\n  eth0: 1 2 3 4 5 6 7 8 9 0\n"},
        {"proc/net/route", "Iface\tDest\neth0\t00000000\t0\t3\t0\t0\t0\t00000000\t0\n"},
        {"proc/diskstats", "8 0 sda 1 2 3 4 5 6 7 8\n8 1 sda1 1 2 3 4 5 6 7 8\n"},
        {"proc/cpuinfo", "processor : 0\nmodel name : x\n"},
        {"sys/devices/system/cpu/present", "0-1\n"},
        {"sys/devices/cpu_core/cpus", "0\n"},
        {"sys/devices/cpu_atom/cpus", "1\n"},
        {"sys/block/zram0/mm_stat", "1 2 4096 4\n"},
    };
    const std::uint64_t used = 5000u * 1024 / static_cast<std::uint64_t>(::getpagesize());
    TemporaryTree tree;
    for (const auto& [file, content] : files) tree.write(file, content);
    for (const auto& [file, content] : files) {
        for (std::size_t size = 0; size <= content.size(); ++size) {
            tree.write(file, content.substr(0, size));
            LinuxMachine machine(tree.root());
            const auto ticks = machine.services().hostStatistics.processorTicks();
            EXPECT_LE(ticks ? ticks->size() : 0, 2u);
            const auto pages = machine.services().hostStatistics.virtualMemory();
            if (pages) {
                EXPECT_EQ(pages->active + pages->wired + pages->compressor, used) << size;
            }
            for (auto name : {"vm.swapusage", "kern.memorystatus_vm_pressure_level", "hw.memsize", "hw.nperflevels",
                              "machdep.cpu.brand_string"}) {
                machine.services().sysctl.read(name);
            }
            const auto links = machine.services().networkInterfaces.links();
            ASSERT_TRUE(links);
            for (const auto& link : *links) {
                EXPECT_EQ(link.counters ? link.counters->sent : 9, 9u);
            }
            EXPECT_LE(driveNames(machine).size(), 1u);
            EXPECT_EQ(machine.services().registry.services("AppleARMPE")->size(), 1u);
            EXPECT_THAT(machine.services().registry.services("IOAccelerator").value(), IsEmpty());
        }
        tree.write(file, content);
    }
}

}  // namespace
}  // namespace zqm
