#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Platform/Linux/Processes/LinuxProcessTable.h"
#include "Platform/Linux/Processes/LinuxTaskCounters.h"
#include "Platform/Posix/PosixClock.h"
#include "tests/fakes/TemporaryTree.h"
#include "tests/fakes/VirtualClock.h"

namespace zqm {
namespace {

using testing::DoubleEq;
using testing::ElementsAre;

struct Stat {
    std::string name = "a";
    std::uint64_t user = 0, system = 0, start = 0, pages = 0;  // ticks of 10 ms
    std::string flags = "4194560";
};

std::string statText(int pid, const Stat& stat) {
    return std::to_string(pid) + " (" + stat.name + ") S 1 2 3 0 -1 " + stat.flags + " 1 2 3 4 " +
           std::to_string(stat.user) + " " + std::to_string(stat.system) + " 700 800 20 0 1 0 " +
           std::to_string(stat.start) + " 56274944 " + std::to_string(stat.pages) + " 18446744073709551615 1 1 0 0\n";
}

/// A machine that has been up for 1000 s.
struct LinuxProcessTest : testing::Test {
    LinuxProcessTest() { tree.write("proc/uptime", "1000.00 1900.00\n"); }
    void write(int pid, const Stat& stat) { tree.write("proc/" + std::to_string(pid) + "/stat", statText(pid, stat)); }
    std::vector<ProcessRow> rowsByNumber() {
        auto rows = table.processes().value();
        std::sort(rows.begin(), rows.end(), [](const auto& a, const auto& b) { return a.pid < b.pid; });
        return rows;
    }
    std::vector<double> percents() {
        std::vector<double> percents;
        for (const auto& row : rowsByNumber()) percents.push_back(row.cpuPercent);
        return percents;
    }

    TemporaryTree tree;
    VirtualClock clock;
    RootDirectory root{tree.root()};
    LinuxProcessTable table{root, clock};
    LinuxTaskCounters counters{root, table.known()};
};

TEST_F(LinuxProcessTest, AreReadWithTheirNamesAsTheyAre) {
    const std::vector<std::string> names{"((a b ) ( c d) )", "a) S 1 (b", "", "a\nb", "\xff", "kworker/u8:2-unbound"};
    int pid = 0;
    for (const auto& name : names) write(++pid, {.name = name, .start = 90000, .pages = 155});
    for (const char* other : {"self", "0123", "99999999999"})
        tree.write(std::string("proc/") + other + "/stat", statText(9, {}));
    tree.write("proc/20/status", "Name: a\n");
    tree.write("proc/21/stat", "");
    tree.write("proc/22/stat/directory", "");
    write(23, {.user = UINT64_MAX, .system = UINT64_MAX, .start = UINT64_MAX, .pages = UINT64_MAX});
    auto rows = rowsByNumber();
    EXPECT_EQ(rows.back().residentBytes, UINT64_MAX);
    EXPECT_TRUE(std::isfinite(rows.back().cpuPercent));
    rows.pop_back();
    const auto bytes = 155u * static_cast<unsigned>(::sysconf(_SC_PAGESIZE));
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(std::tie(rows[i].pid, rows[i].startTime, rows[i].name, rows[i].residentBytes),
                  std::tuple(static_cast<int>(i) + 1, 90000u, names.at(i), bytes));
    }
    EXPECT_EQ(rows.size(), names.size());
    tree.remove("proc");
    EXPECT_EQ(table.processes(), std::nullopt);
}

TEST_F(LinuxProcessTest, PercentsAreOfOneProcessorBetweenPasses) {
    write(5, {.user = 1000, .system = 500, .start = 90000});  // 15 s of processor time in a life of 100 s
    write(6, {.user = 0, .start = 100});
    write(7, {.user = 3, .start = 99999});   // began 10 ms ago
    write(8, {.user = 5, .start = 200000});  // begins later than now: a clock that was set
    EXPECT_THAT(percents(), ElementsAre(DoubleEq(15), 0, DoubleEq(30), DoubleEq(50)));
    clock.advance(Seconds(2));
    tree.write("proc/uptime", "1002.00 1900.00\n");
    write(5, {.user = 1100, .system = 600, .start = 90000});  // two seconds
    write(6, {.user = 1, .start = 100});
    write(7, {.user = 2, .start = 99999});    // fell
    write(8, {.user = 20, .start = 100100});  // another process: 200 ms since it began a second ago
    EXPECT_THAT(percents(), ElementsAre(DoubleEq(100), DoubleEq(0.5), 0, DoubleEq(10)));
    write(5, {.user = 1101, .system = 600, .start = 90000});
    EXPECT_THAT(percents(), ElementsAre(DoubleEq(10), 0, 0, 0)) << "over no shorter time than 0.1 s";
    tree.remove("proc/uptime");
    tree.remove("proc/6");
    clock.advance(Seconds(1));
    write(4, {.user = 100, .start = 100150});
    write(5, {.user = 1111, .system = 600, .start = 90000});
    EXPECT_THAT(percents(), ElementsAre(0, DoubleEq(10), 0, 0)) << "age unknown";
    for (const int pid : {4, 5, 6, 7, 8}) EXPECT_EQ(table.known().find(pid) != nullptr, pid != 6);
}

TEST_F(LinuxProcessTest, StandByWhatTheyMayTellAndDidLately) {
    constexpr auto thread = "2129984";
    const auto order = [&](double seconds) {
        clock.advance(Seconds(seconds));
        const auto rows = table.processes().value();
        std::vector<int> pids(rows.size());
        std::transform(rows.begin(), rows.end(), pids.begin(), [](const auto& row) { return row.pid; });
        return pids;
    };
    write(2, {.user = 9, .start = 1, .flags = thread});
    for (const int pid : {3, 4, 5, 60}) write(pid, {.start = 1});
    EXPECT_THAT(order(0), ElementsAre(3, 4, 5, 60, 2));
    write(2, {.user = 90, .start = 1, .flags = thread});
    write(5, {.user = 2, .start = 1});
    write(60, {.user = 1, .start = 1});
    const std::vector<int> byActivity{5, 60, 3, 4, 2};
    EXPECT_EQ(order(2), byActivity);
    write(60, {.user = 2, .start = 1});
    EXPECT_THAT(order(30), ElementsAre(60, 5, 3, 4, 2)) << "the latest work counts most";
    // A refusal ends with another name, and after a minute.
    for (const bool isRenamed : {true, false}) {
        for (const int pid : {3, 5}) table.known().find(pid)->hidesDisk = true;
        EXPECT_THAT(order(2), ElementsAre(60, 4, 2, 5, 3));
        if (isRenamed) write(5, {.name = "b", .user = 2, .start = 1});
        EXPECT_EQ(order(isRenamed ? 2 : 61)[1], 5);
    }
}

TEST_F(LinuxProcessTest, AnIncompleteLineIsNone) {
    const std::string whole = statText(26231, {.name = "a (b)", .user = 1, .system = 2, .start = 3, .pages = 4});
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        EXPECT_EQ(parseProcessStat(whole.substr(0, size)).has_value(), size >= whole.find(" 4 18446") + 3) << size;
    }
    EXPECT_FALSE(parseProcessStat(") 1 ("));
    EXPECT_FALSE(parseProcessStat("1 (a) S 1 1 1 1 1 1 1 1 1 1 -1 2 3 4 5 6 7 8 9 10 11 12\n"));
}

TEST_F(LinuxProcessTest, ThisMachineShowsThisProcess) {
    PosixClock realClock;
    RootDirectory realRoot("/");
    LinuxProcessTable realTable(realRoot, realClock);
    const auto rows = realTable.processes().value();
    const auto own = std::find_if(rows.begin(), rows.end(), [](const auto& row) { return row.pid == ::getpid(); });
    ASSERT_NE(own, rows.end());
    EXPECT_EQ(realTable.fullName(*own), "zqm_tests");
    EXPECT_GT(own->residentBytes, 100'000u);
    EXPECT_LT(own->cpuPercent, 10'000);
    EXPECT_TRUE(LinuxTaskCounters(realRoot, realTable.known()).disk(::getpid()));
    // One that stands still is not read again but stays known; the reader itself has always run.
    const pid_t child = ::fork();
    if (child == 0) {
        ::raise(SIGSTOP);
        ::_exit(0);
    }
    ::waitpid(child, nullptr, WUNTRACED);
    do realTable.processes();
    while (realTable.known().find(child)->hasRun);
    EXPECT_EQ(realTable.known().find(child)->row.name, "zqm_tests");
    EXPECT_TRUE(realTable.known().find(::getpid())->hasRun);
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    realTable.processes();
    EXPECT_FALSE(realTable.known().find(child));
}

TEST(ProcessNames, AreCompletedFromTheArgumentsOrTheExecutable) {
    using namespace std::string_literals;
    for (const auto& [cut, arguments, executable, full] : std::initializer_list<std::array<std::string, 4>>{
             {"chromium-browse", "/usr/lib/chromium-browser/chromium-browser\0--type=a\0"s, "", "chromium-browser"},
             {"chromium-browse", "/usr/lib/chromium-browser --dir=/tmp/chromium-browse2\0"s, "", "chromium-browser"},
             {"chromium-browse", "/opt/a -b/chromium-browser\0--type=a\0"s, "/x", "chromium-browser"},
             {"chromium-browse", "\0--type=a\0"s, "/opt/a -b/chromium-browser (deleted)", "chromium-browser"},
             {"a-shell-for-all", "-a-shell-for-all-users\0"s, "/bin/a-shell-for-all-users", "a-shell-for-all-users"},
             {"gunicorn: maste", "gunicorn: master [app]    \0\0\0\0"s, "/bin/python3", "gunicorn: master [app]"},
             {"networkd-dispat", "python3\0-u\0/usr/bin/networkd-dispatcher\0-r\0"s, "", "networkd-dispatcher"},
             {"networkd-dispat", "/usr/bin/python3\0other\0networkd-dispatcher\0"s, "/bin/python3", "networkd-dispat"},
             {"kernel-thread-1", "", "", "kernel-thread-1"},
             {"aaaaaaaaaaaaaaa", std::string(255, 'a'), "", std::string(255, 'a')},
             {"aaaaaaaaaaaaaaa", std::string(256, 'a'), "", "aaaaaaaaaaaaaaa"}}) {
        EXPECT_EQ(completeProcessName(cut, arguments, executable), full);
    }
}

TEST_F(LinuxProcessTest, FullNamesAreRememberedByProcess) {
    const auto name = [&](std::uint64_t startTime, const std::string& cut = "dbus-update-act") {
        return table.fullName({.pid = 7, .startTime = startTime, .name = cut});
    };
    EXPECT_EQ(name(1), "dbus-update-act");  // is gone
    tree.write("proc/7/cmdline", "dbus-update-activation-environment");
    EXPECT_EQ(name(1), "dbus-update-act");
    EXPECT_EQ(name(2), "dbus-update-activation-environment");
    tree.remove("proc/7/cmdline");
    EXPECT_EQ(name(2), "dbus-update-activation-environment");
    EXPECT_EQ(name(2, "dbus"), "dbus");
    for (std::uint64_t start = 100; start < 400; ++start) name(start);
    EXPECT_EQ(name(2), "dbus-update-act") << "forgotten after many others";
}

TEST_F(LinuxProcessTest, TimesAndDiskBytesOfTheProcessesOfThePass) {
    write(5, {.user = 1677, .system = 44});
    EXPECT_FALSE(counters.taskName(5)) << "before the first pass";
    table.processes();
    const auto power = counters.taskName(5)->power().value();
    EXPECT_EQ(power.userTime, 16'770'000'000u);
    EXPECT_EQ(power.systemTime, 440'000'000u);
    EXPECT_FALSE(counters.taskName(6) || counters.disk(6));
    for (const std::string written : {"2048\ncancelled_write_bytes: -1024\n", "20", "-1\n"}) {
        tree.write("proc/5/io", "rchar: 7\nread_bytes: 18446744073709551615\nwrite_bytes: " + written);
        const auto disk = counters.disk(5);
        EXPECT_EQ(disk.has_value(), written.starts_with("2048")) << "cut, or no count";
        EXPECT_EQ(disk.value_or(TaskDisk{.bytesRead = UINT64_MAX}).bytesRead, UINT64_MAX);
        EXPECT_EQ(disk.value_or(TaskDisk{.bytesWritten = 2048}).bytesWritten, 2048u);
    }
}

}  // namespace
}  // namespace zqm
