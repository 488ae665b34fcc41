#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

#include "Platform/Linux/LinuxMachine.h"
#include "tests/fakes/EngineSamples.h"
#include "tests/fakes/TemporaryTree.h"

namespace {

// What a plain tree cannot answer: reading the one file fails with this error while it is not 0.
std::string refusingFile;
int refusal = 0;
int refusedReads = 0;

}  // namespace

/// Stands before the C library's in this program.
extern "C" ssize_t pread(int file, void* buffer, size_t size, off_t offset) {
    if (refusal != 0) {
        std::error_code ignored;
        if (std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(file), ignored) == refusingFile) {
            ++refusedReads;
            errno = refusal;
            return -1;
        }
    }
    return static_cast<ssize_t>(::syscall(SYS_pread64, file, buffer, size, offset));
}

namespace zqm {
namespace {

// Files fail in being opened (ENOENT, ELOOP; to root nothing is unreadable by its mode), in being read (EISDIR, ESPIPE,
// and what drivers answer) and in what they hold.

struct Source {
    std::string path;
    Members members;  // what it feeds
    std::string content;
    std::string later = {};  // at the second sample, where it has moved
};
const std::vector<Source> sources{
    {"proc/stat",
     {"cpu", "load"},
     "cpu  70 0 30 900 0 0 0 0 0 0\ncpu0 40 0 10 450 0 0 0 0 0 0\ncpu1 30 0 20 450 0 0 0 0 0 0\nintr 5 1 2\n",
     "cpu  90 0 30 1080 0 0 0 0 0 0\ncpu0 60 0 10 530 0 0 0 0 0 0\ncpu1 30 0 20 550 0 0 0 0 0 0\nintr 6 1 2\n"},
    {"proc/meminfo",
     {"memory"},
     "MemTotal: 8000000 kB\nMemFree: 100000 kB\nMemAvailable: 3000000 kB\nSUnreclaim: 200000 kB\nSwapTotal: 500000 kB\n"
     "SwapFree: 400000 kB\n"},
    {"proc/pressure/memory",
     {"memory"},
     "some avg10=12.00 avg60=0.00 avg300=0.00 total=7\nfull avg10=0.00 avg60=0.00 avg300=0.00 total=3\n"},
    {"proc/net/dev",
     {"network"},
     "Inter-|   Receive  |  Transmit\n face |bytes packets errs\n    lo: 5 1 0 0 0 0 0 0 5 1 0 0 0 0 0 0\n"
     "  eth0: 7000 9 0 0 0 0 0 0 300 4 0 0 0 0 0 0\n  eth1: 4000 9 0 0 0 0 0 0 200 4 0 0 0 0 0 0\n",
     "Inter-|   Receive  |  Transmit\n face |bytes packets errs\n    lo: 5 1 0 0 0 0 0 0 5 1 0 0 0 0 0 0\n"
     "  eth0: 7500 9 0 0 0 0 0 0 300 4 0 0 0 0 0 0\n  eth1: 4000 9 0 0 0 0 0 0 290 4 0 0 0 0 0 0\n"},
    {"proc/net/route",
     {"network"},
     "Iface Destination Gateway Flags RefCnt Use Metric Mask\neth1 00000000 0101A8C0 0003 0 0 100 00000000\n"},
    {"proc/diskstats",
     {"disk"},
     " 8 0 sda 500 0 9000 10 400 0 7000 20 0 30 40\n 7 0 loop0 5 0 90 1 0 0 0 0 0 0 0\n",
     " 8 0 sda 600 0 9900 10 500 0 7700 20 0 30 40\n 7 0 loop0 5 0 90 1 0 0 0 0 0 0 0\n"},
    {"sys/class/net/lo/type", {"network"}, "772\n"},
    {"sys/devices/system/cpu/present", {"cpu"}, "0-1\n"},
    {"sys/devices/system/cpu/cpu0/cpu_capacity", {"cpu"}, "1024\n"},
    {"sys/devices/system/cpu/cpu1/cpu_capacity", {"cpu"}, "300\n"},
    {"sys/class/hwmon/hwmon0/name", {"cpu", "gpu"}, "coretemp\n"},
    {"sys/class/hwmon/hwmon0/temp1_input", {"cpu", "gpu"}, "45000\n"},
    {"sys/class/powercap/intel-rapl:0/name", {"power", "load"}, "package-0\n"},
    {"sys/class/powercap/intel-rapl:0/energy_uj", {"power", "load"}, "123456789\n", "128456789\n"},
    {"sys/class/powercap/intel-rapl:0/max_energy_range_uj", {"power", "load"}, "262143328850\n"},
    {"sys/class/power_supply/BAT0/type", {"battery", "power"}, "Battery\n"},
    {"sys/class/power_supply/BAT0/uevent",
     {"battery", "power"},
     "POWER_SUPPLY_STATUS=Discharging\nPOWER_SUPPLY_PRESENT=1\nPOWER_SUPPLY_ENERGY_NOW=30000000\n"
     "POWER_SUPPLY_ENERGY_FULL=50000000\nPOWER_SUPPLY_POWER_NOW=8000000\nPOWER_SUPPLY_CAPACITY=60\n"},
};

using Text = const std::string&;

void write(Text path, std::string_view content) {
    std::ofstream(path, std::ios::binary) << content;
}

/// The content with every number replaced by one that fits nowhere.
std::string withAbsurdNumbers(Text content) {
    std::string absurd;
    for (const char c : content) absurd += c >= '0' && c <= '9' ? "9876543210" : std::string(1, c);
    return absurd;
}

template <int error>
void refuse(Text path, Text content) {
    write(path, content);
    refusingFile = std::filesystem::canonical(path);
    refusal = error;
}

struct Damage {
    std::string_view name;
    void (*inflict)(Text path, Text content);  // the file has been removed
};
constexpr std::string_view garbage("\0\xFF: nan -1 inf\n\n\t:::\ncpu\ncpu0 \x80", 31);
constexpr Damage damages[]{
    {"missing", [](Text, Text) {}},
    {"empty", [](Text path, Text) { write(path, ""); }},
    {"one byte short", [](Text path, Text content) { write(path, content.substr(0, content.size() - 1)); }},
    {"cut in the middle", [](Text path, Text content) { write(path, content.substr(0, content.size() / 2)); }},
    {"absurd numbers", [](Text path, Text content) { write(path, withAbsurdNumbers(content)); }},
    {"garbage", [](Text path, Text) { write(path, garbage); }},
    {"a directory", [](Text path, Text) { std::filesystem::create_directory(path); }},
    {"a link to itself", [](Text path, Text) { std::filesystem::create_symlink(path, path); }},
    {"memory that is not there", [](Text path, Text) { std::filesystem::create_symlink("/proc/self/mem", path); }},
    {"a fifo", [](Text path, Text) { ::mkfifo(path.c_str(), 0600); }},
    {"EACCES", refuse<EACCES>},
    {"EIO", refuse<EIO>},
    {"EAGAIN", refuse<EAGAIN>},
    {"ENODEV", refuse<ENODEV>},
};

struct LinuxFaults : testing::Test {
    LinuxFaults() {
        for (const Source& source : sources) tree.write(source.path, source.content);
        for (const char* interface : {"eth0", "eth1"}) {
            std::filesystem::create_directories(tree.path(std::string("sys/class/net/") + interface + "/device"));
        }
    }
    /// Two samples, the counters moving between them; one file is damaged before the first or before the second.
    Snapshots run(const Source* damaged, const Damage* damage, bool late) {
        const auto inflict = [&](Text content) {
            tree.remove(damaged->path);
            damage->inflict(tree.path(damaged->path), content);
        };
        if (damaged && !late) inflict(damaged->content);
        FakePlatform fakes;
        LinuxMachine machine(tree.root(), fakes.clock);
        const Snapshots snapshots = sample(machine, fakes, 2, [&](int taken) {
            if (taken == 0) return;
            for (const Source& source : sources) {
                if (&source != damaged && !source.later.empty()) tree.write(source.path, source.later);
            }
            if (damaged && late) inflict(damaged->later.empty() ? damaged->content : damaged->later);
        });
        refusal = 0;
        if (damaged) tree.remove(damaged->path);
        for (const Source& source : sources) {
            if (&source == damaged || !source.later.empty()) tree.write(source.path, source.content);
        }
        return snapshots;
    }
    TemporaryTree tree;
};

TEST_F(LinuxFaults, EachFileMayBeDamaged) {
    const Snapshots whole = run(nullptr, nullptr, false);
    Members reached;
    for (const Source& source : sources) {
        for (const Damage& damage : damages) {
            for (const bool late : {false, true}) {
                SCOPED_TRACE(source.path + " " + std::string(damage.name) + (late ? " later" : ""));
                const Snapshots faulty = run(&source, &damage, late);
                expectWithin(differences(whole[0], faulty[0]), late ? Members{} : source.members);
                const Members found = differences(whole[1], faulty[1]);
                expectWithin(found, source.members);
                reached.insert(found.begin(), found.end());
            }
        }
    }
    EXPECT_GT(refusedReads, static_cast<int>(sources.size()));
    EXPECT_EQ(reached, (Members{"battery", "cpu", "disk", "gpu", "load", "memory", "network", "power"}));
}

}  // namespace
}  // namespace zqm
