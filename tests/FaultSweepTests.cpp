#include <gtest/gtest.h>
#include <sys/stat.h>

#include <functional>
#include <nlohmann/json.hpp>

#include "Platform/Described/DescribedMachine.h"
#include "Platform/Linux/LinuxPlatform.h"
#include "ZQMHelper/Shared/MetricsJson.h"
#include "ZQMHelper/Shared/MonitorEngine.h"
#include "tests/fakes/FaultyMachine.h"
#include "tests/fakes/MachinePlatform.h"
#include "tests/fakes/TemporaryTree.h"

// Whatever call or file fails: every sample is published, its numbers are finite, and it differs from the sample of a
// whole machine only in what the failed source feeds.

namespace zqm {
namespace {

using Members = std::set<std::string, std::less<>>;
using Snapshots = std::vector<nlohmann::json>;

/// The first samples of an engine on `machine`, `between` being called with the number of those taken before each.
/// One that is not published or holds a number that is not finite is null.
Snapshots sample(Machine& machine, FakePlatform& fakes, int count, const std::function<void(int taken)>& between) {
    Platform platform = platformOn(machine, fakes);
    const auto settings = std::make_shared<SettingsStore>(platform);
    const auto engine = std::make_shared<MonitorEngine>(settings, std::make_shared<SMCBridge>(platform), platform);
    Snapshots snapshots;
    std::optional<std::string> published;
    engine->observation().onChange([&](std::string_view) { published = encode(engine->snapshot()); });
    engine->start();
    while (static_cast<int>(snapshots.size()) < count) {
        between(static_cast<int>(snapshots.size()));
        published.reset();
        fakes.loop.runFor(Seconds(1));
        snapshots.push_back(published ? nlohmann::json::parse(*published) : nlohmann::json());
    }
    return snapshots;
}

/// The top-level members in which two samples differ; "everything" when there is no sample.
Members differences(const nlohmann::json& left, const nlohmann::json& right) {
    if (left.is_null() || right.is_null()) return {"everything"};
    Members names;
    for (const auto& [name, value] : left.items()) {
        if (right.at(name) != value) names.insert(name);
    }
    return names;
}

void expectWithin(const Members& found, const Members& allowed) {
    for (const std::string& name : found) EXPECT_TRUE(allowed.contains(name)) << name;
}

struct Sweep : testing::TestWithParam<std::filesystem::path> {
    static constexpr int sampleCount =
        4;  // two with the fault, one whose rates still reach back, one of a whole machine

    struct Run {
        Snapshots snapshots;
        Members affected;
        unsigned calls = 0;
        unsigned callsOfConstruction = 0;
    };
    static Run run(unsigned nth, bool fromThenOn) {
        FakePlatform fakes;
        FaultPlan plan(nth, fromThenOn);
        auto loaded = DescribedMachine::load(GetParam(), fakes.clock);
        auto& described = *std::get<std::unique_ptr<DescribedMachine>>(loaded);
        Run run;
        {
            FaultyMachine machine(described, plan);
            run.snapshots = sample(machine, fakes, sampleCount, [&](int taken) {
                if (taken == 0) run.callsOfConstruction = plan.calls;
                if (taken == 2) plan.disarm();
            });
        }
        EXPECT_EQ(plan.liveHandles, 0);
        EXPECT_EQ(described.liveHandles(), 0u);
        run.affected = plan.affected;
        run.calls = plan.calls;
        return run;
    }
};

TEST_P(Sweep, EachPlatformCallMayFail) {
    const Run whole = run(0, false);
    ASSERT_GT(whole.calls, 20u);
    Members reached;
    for (const bool fromThenOn : {false, true}) {
        for (unsigned nth = 1; nth <= whole.calls; ++nth) {
            SCOPED_TRACE("call " + std::to_string(nth) + (fromThenOn ? " and all later ones" : ""));
            const Run faulty = run(nth, fromThenOn);
            for (int i = 0; i < sampleCount; ++i) {
                expectWithin(differences(whole.snapshots[i], faulty.snapshots[i]), faulty.affected);
            }
            // A call that failed while sampling is made again; only the controller is opened once, and a peak is kept.
            if (!fromThenOn && nth > whole.callsOfConstruction) {
                expectWithin(differences(whole.snapshots.back(), faulty.snapshots.back()), {"power", "load"});
            }
            reached.insert(faulty.affected.begin(), faulty.affected.end());
            if (HasFailure()) return;
        }
    }
    EXPECT_EQ(reached, (Members{"battery", "cpu", "disk", "gpu", "load", "memory", "network", "power"}));
}

std::vector<std::filesystem::path> machines() {
    const std::filesystem::directory_iterator files(ZQM_MACHINES);
    return {begin(files), end(files)};
}
std::string nameOf(const testing::TestParamInfo<std::filesystem::path>& machine) {
    std::string name = machine.param.stem().string();
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}
INSTANTIATE_TEST_SUITE_P(Machines, Sweep, testing::ValuesIn(machines()), nameOf);

// Files. To root nothing is unreadable by its mode, and a plain tree cannot answer EACCES, ENODEV or EAGAIN: the
// damages below fail in opening (ENOENT, ELOOP), in reading (EISDIR, EIO, ESPIPE) and in what is read, which are the
// only ways that a reader tells apart.

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
    {"sys/class/power_supply/BAT0/status", {"battery", "power"}, "Discharging\n"},
    {"sys/class/power_supply/BAT0/energy_now", {"battery", "power"}, "30000000\n"},
    {"sys/class/power_supply/BAT0/energy_full", {"battery", "power"}, "50000000\n"},
    {"sys/class/power_supply/BAT0/power_now", {"battery", "power"}, "8000000\n"},
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
};

struct FileSweep : testing::Test {
    FileSweep() {
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
        LinuxMachine machine(tree.root());
        FakePlatform fakes;
        const Snapshots snapshots = sample(machine, fakes, 2, [&](int taken) {
            if (taken == 0) return;
            for (const Source& source : sources) {
                if (&source != damaged && !source.later.empty()) tree.write(source.path, source.later);
            }
            if (damaged && late) inflict(damaged->later.empty() ? damaged->content : damaged->later);
        });
        if (damaged) tree.remove(damaged->path);
        for (const Source& source : sources) {
            if (&source == damaged || !source.later.empty()) tree.write(source.path, source.content);
        }
        return snapshots;
    }
    TemporaryTree tree;
};

TEST_F(FileSweep, EachFileMayBeDamaged) {
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
    for (const char* member : {"cpu", "disk", "load", "memory", "network"}) EXPECT_TRUE(reached.contains(member));
}

}  // namespace
}  // namespace zqm
