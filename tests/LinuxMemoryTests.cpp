#include <gtest/gtest.h>

#include "Platform/Linux/LinuxMachine.h"
#include "tests/fakes/TemporaryTree.h"

namespace zqm {
namespace {

struct SwapUsage {
    std::uint64_t total, available, used;
    std::uint32_t pageSize, encrypted;
};

TEST(LinuxMemory, DividesWhatIsUsed) {
    constexpr std::uint64_t kB = 1024;
    struct Case {
        std::string_view lines;
        std::uint64_t zram;                       // bytes
        std::optional<std::uint64_t> used;        // bytes
        std::uint64_t wired = 0, compressor = 0;  // pages of 4096 bytes
    };
    for (const auto& [lines, zram, used, wired, compressor] : std::initializer_list<Case>{
             {"MemTotal: 8000 kB\nMemFree: 10 kB\nMemAvailable: 3000 kB\n", 0, 5000 * kB},
             {"MemTotal: 8000 kB\nMemAvailable: 0 kB\nSUnreclaim: 400 kB\nKernelStack: 40 kB\nPageTables: 44 kB\n"
              "SecPageTables: 4 kB\nPercpu: 12 kB\nUnevictable: 80 kB\nMlocked: 80 kB\nHugetlb: 2048 kB\nZswap: 120 "
              "kB\n",
              400 * kB, 8000 * kB, 657, 130},
             // Kernels without the estimate: free, buffers, cache and slab that can be dropped, less shared memory.
             {"MemTotal: 8000 kB\nMemFree: 1000 kB\nBuffers: 200 kB\nCached: 900 kB\nSReclaimable: 300 kB\nShmem: 400 "
              "kB\n",
              0, 6000 * kB},
             {"MemTotal: 8000 kB\nMemFree: 100 kB\nShmem: 5000 kB\n", 0, 8000 * kB},
             // Parts larger than the whole.
             {"MemTotal: 800 kB\nMemAvailable: 400 kB\nSUnreclaim: 300 kB\nZswap: 300 kB\n", 0, 400 * kB, 75, 25},
             {"MemTotal: 800 kB\nMemAvailable: 400 kB\nSUnreclaim: 9007199254740991 kB\n", 5, 400 * kB, 100, 0},
             {"MemTotal: 800 kB\nMemAvailable: 900 kB\nSUnreclaim: 300 kB\n", 0, 0},
             // Lines missing, absurd or cut.
             {"MemFree: 10 kB\nMemAvailable: 10 kB\n", 0, std::nullopt},
             {"MemTotal: 8000 kB\n", 0, std::nullopt},
             {"MemTotal: 0 kB\nMemAvailable: 0 kB\n", 0, std::nullopt},
             {"MemTotal: 99999999999999999999 kB\nMemAvailable: 10 kB\n", 0, std::nullopt},
             {"MemTotal: -5 kB\nMemAvailable: 10 kB\n", 0, std::nullopt},
             {"MemTotal: 8000 kB\nMemAvailable: 30", 0, std::nullopt},
             {"", 0, std::nullopt},
         }) {
        const auto pages = memoryPages(parseMemoryInfo(lines), zram, 4096);
        ASSERT_EQ(pages.has_value(), used.has_value()) << lines;
        if (!pages) continue;
        EXPECT_EQ((pages->active + pages->wired + pages->compressor) * 4096, *used) << lines;
        EXPECT_EQ(pages->wired, wired) << lines;
        EXPECT_EQ(pages->compressor, compressor) << lines;
    }
}

TEST(LinuxMemory, CountsCompressedBlockDevices) {
    TemporaryTree tree;
    tree.write("proc/meminfo", "MemTotal: 65536 kB\nMemAvailable: 0 kB\n");
    tree.write("sys/block/zram0/mm_stat", "  9000000  3000000  1048576  0  3100000 0 0 0 0\n");
    tree.write("sys/block/zram1/mm_stat", "cut\n");
    tree.write("sys/block/zram2/mm_stat", "1 1 2097152\n");
    tree.write("sys/block/sda/mm_stat", "1 1 2097152\n");
    LinuxMachine machine(tree.root());
    const std::uint64_t pageSize = machine.services().hostStatistics.pageSize().value();
    EXPECT_EQ(machine.services().hostStatistics.virtualMemory()->compressor * pageSize, 3145728u);
}

TEST(LinuxMemory, TellsSwapOfTheSameMoment) {
    TemporaryTree tree;
    auto write = [&](std::string_view swap) {
        tree.write("proc/meminfo", "MemTotal: 800 kB\nMemAvailable: 400 kB\n" + std::string(swap));
    };
    LinuxMachine machine(tree.root());
    auto swap = [&] { return sysctlValue<SwapUsage>(machine.services().sysctl, "vm.swapusage"); };
    write("SwapTotal: 100 kB\nSwapFree: 70 kB\n");
    EXPECT_EQ(sysctlValue<std::uint64_t>(machine.services().sysctl, "hw.memsize"), 800u * 1024);
    ASSERT_TRUE(machine.services().hostStatistics.virtualMemory());
    write("SwapTotal: 200 kB\nSwapFree: 300 kB\n");
    EXPECT_EQ(swap()->total, 100u * 1024);
    EXPECT_EQ(swap()->available, 200u * 1024) << "the first reading is used once; free never exceeds the total";
    EXPECT_EQ(swap()->used, 0u);
    write("SwapTotal: 100 kB\nSwapFree: 70 kB\n");
    EXPECT_EQ(swap()->used, 30u * 1024);
    write("SwapTotal: 100 kB\n");
    EXPECT_FALSE(swap());
    tree.remove("proc/meminfo");
    EXPECT_FALSE(swap());
    EXPECT_FALSE(machine.services().hostStatistics.virtualMemory());
    EXPECT_FALSE(machine.services().sysctl.read("hw.memsize"));
}

TEST(LinuxMemory, TurnsStallsIntoAPressureLevel) {
    struct Case {
        std::string_view content;
        std::optional<std::int32_t> level;
    };
    TemporaryTree tree;
    EXPECT_FALSE(LinuxMachine(tree.root()).services().sysctl.read("kern.memorystatus_vm_pressure_level"));
    for (const auto& [content, level] : std::initializer_list<Case>{
             {"some avg10=0.10 avg60=50.00 avg300=3.85 total=15\nfull avg10=0.20 avg60=50.00 avg300=4.95 total=25\n",
              1},
             {"some avg10=9.99 avg60=0.00 avg300=0.00 total=1\nfull avg10=9.99 avg60=0.00 avg300=0.00 total=1\n", 1},
             {"some avg10=10.00 avg60=0.00 avg300=0.00 total=1\nfull avg10=1.00 avg60=0.00 avg300=0.00 total=1\n", 2},
             {"some avg10=40.00 avg60=0.00 avg300=0.00 total=1\nfull avg10=10.00 avg60=0.00 avg300=0.00 total=1\n", 4},
             {"some avg10=99.00 total=1\n", 2},
             {"some avg10=nan\n", std::nullopt},
             {"full avg10=50.00\n", std::nullopt},
             {"", std::nullopt},
         }) {
        tree.write("proc/pressure/memory", content);
        LinuxMachine machine(tree.root());
        EXPECT_EQ(sysctlValue<std::int32_t>(machine.services().sysctl, "kern.memorystatus_vm_pressure_level"), level)
            << content;
    }
}

}  // namespace
}  // namespace zqm
