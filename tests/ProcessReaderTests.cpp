#include "ZQMHelper/Shared/ProcessReader.h"

#include <gtest/gtest.h>

#include "ZQMHelper/SensorSnapshot.h"
#include "tests/fakes/MachinePlatform.h"

namespace zqm {
namespace {

using enum ProcessCategory;
using Ranking = std::vector<TopProcess>;

/// A native table as a test lists it; nullopt: it cannot be read.
struct Table final : ProcessTable {
    std::optional<std::vector<ProcessRow>> processes() override { return rows; }
    std::optional<std::vector<SocketOwner>> socketOwners() override { return owners; }
    std::string fullName(const ProcessRow& row) override { return row.name; }
    void add(std::int32_t pid, double cpu, std::uint64_t resident = 0, std::uint64_t startTime = 1) {
        rows->push_back({pid, startTime, "p" + std::to_string(pid), cpu, resident});
    }
    std::optional<std::vector<ProcessRow>> rows = std::vector<ProcessRow>{};
    std::optional<std::vector<SocketOwner>> owners;
};

/// A native table beside described counters.
struct Processes : testing::Test {
    void describe(const std::string& description = "{}") {
        machine.emplace(description);
        machine->platform.processTable = &table;
        reader = std::make_shared<ProcessReader>();
    }
    Ranking after(double seconds, ProcessCategory category) {
        machine->process.clock.advance(Seconds(seconds));
        reader->tick();
        return reader->cached(category, 10);
    }
    Table table;
    std::optional<DescribedPlatform> machine;
    std::shared_ptr<ProcessReader> reader;
};

TEST_F(Processes, RankStablyAndByTheWholeTable) {
    describe(
        R"({"processes": {"20": {"energy": {"start": 0, "rate": 1e9}}, "22": {"energy": {"start": 0, "rate": 1e9}}}})");
    EXPECT_TRUE(reader->cached(cpu, 10).empty());
    for (int pid = 1; pid <= 100; ++pid) table.add(pid, pid % 2, static_cast<std::uint64_t>(pid));
    table.owners = {{{.pid = 7, .name = "a", .sockets = 1}, {.pid = 8, .name = "b", .sockets = 3}}};
    EXPECT_TRUE(after(1, power).empty());
    EXPECT_EQ(after(1, power), (Ranking{{20, "p20", 1}}));  // the sixtieth; counters are asked of the busiest alone
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(reader->cached(cpu, 99).size(), 10u);
        for (int place = 0; place < 10; ++place)
            EXPECT_EQ(reader->cached(cpu, 10)[place].pid, 2 * place + 1) << "stable";
        EXPECT_EQ(reader->cached(memory, 2), (Ranking{{100, "p100", 100}, {99, "p99", 99}}));
        EXPECT_EQ(reader->cached(network, 10), (Ranking{{8, "b", 3}, {7, "a", 1}}));
        table.rows = std::nullopt;  // a ranking stays until another one has entries
        table.owners = std::nullopt;
        reader->tick();
    }
}

TEST_F(Processes, DiskRatesComeFromTheGrowthOfTheirCounters) {
    describe(R"({"processes": {
        "1": {"bytesRead": {"list": [1000, 3000, 3100, 900000]}, "bytesWritten": 0},
        "2": {"bytesRead": 0, "bytesWritten": {"list": [0, 1]}},
        "3": {"bytesRead": {"list": [500, 100]}, "bytesWritten": {"list": [500, 3500]}},
        "4": {"bytesRead": {"list": [null, 1048576]}, "bytesWritten": 18446744073709551615},
        "5": {"bytesRead": {"start": 0, "rate": 1000000}}}})");
    for (const int pid : {1, 2, 3, 4, 5}) table.add(pid, 10 - pid);
    EXPECT_TRUE(after(1, disk).empty());
    // One byte a second is too little, a counter that fell counts as no use, and a new process has no rate yet.
    EXPECT_EQ(after(1, disk), (Ranking{{3, "p3", 3000}, {1, "p1", 2000}}));
    EXPECT_EQ(after(0.01, disk), (Ranking{{1, "p1", 1000}}));  // as if a tenth of a second had passed
    table.rows->clear();
    table.add(1, 9, 0, 2);                                  // the pid again, another process
    EXPECT_EQ(after(1, disk), (Ranking{{1, "p1", 1000}}));  // nothing new to rank
}

TEST_F(Processes, ShareEnergyAndGPU) {
    describe(R"({"registry": {"IOAccelerator": [{"name": "g", "properties": {
            "PerformanceStatistics": {"Device Utilization %": 50}}}]},
        "processes": {"1": {"energy": {"list": [0, 2000000]}}, "2": {"energy": {"list": [5, 6000000005]}},
                      "3": {"energy": {"list": [null, 0, 5000000000]}}}})");
    for (const auto& [pid, percent] : {std::pair{1, 10}, {2, 30}, {3, 0}}) table.add(pid, percent);
    EXPECT_TRUE(after(2, power).empty());
    EXPECT_EQ(after(2, power), (Ranking{{2, "p2", 3}}));  // 1 mW is not above the threshold
    EXPECT_EQ(reader->cached(gpu, 10), (Ranking{{2, "p2", 0.375}, {1, "p1", 0.125}, {3, "p3", 0}}));
    table.rows->clear();
    table.add(3, 0);
    EXPECT_EQ(after(2, gpu).front().pid, 2);  // nobody to share it: the last ranking stays
    EXPECT_EQ(reader->cached(power, 10), (Ranking{{3, "p3", 2.5}}));
}

TEST_F(Processes, AreSampledAtOnceAndThenEveryTwoSecondsWithoutOverlap) {
    describe();
    VirtualLoop& loop = machine->process.loop;
    int updates = 0;
    reader->onUpdate([&] { ++updates; });
    reader->start();
    loop.runFor(Seconds(1));
    reader->start();  // once is enough
    // Seconds, whether a sample takes all this time, updates so far.
    for (const auto& [seconds, isSlow, expected] : std::initializer_list<std::tuple<double, bool, int>>{
             {0, false, 1}, {5, false, 4}, {6, true, 4}, {0, false, 6}, {1, false, 6}, {2, true, 6}}) {
        loop.holdBackground = isSlow;
        loop.runFor(Seconds(seconds));
        EXPECT_EQ(updates, expected);
    }
    reader.reset();
    loop.holdBackground = false;
    loop.runFor(Seconds(4));
    EXPECT_EQ(updates, 6);
}

TEST_F(Processes, ComeFromCommandsWhereThereIsNoTable) {
    describe(R"({"commands": {
        "/bin/ps": [" 12.5   412 1024 WindowServer", "  0.0     1 64 /sbin/launchd", "", "9.9 8 7", "nan 3 4 n",
                    "-1.5 -5 18446744073709551615 /A B.app/A B", "1 2147483648 3 n", "1 2 -3 n", "1 x 2 n"],
        "/usr/sbin/lsof": {"list": [["COMMAND PID USER FD", "first 88 me 3u", "b 1 me 4u", "node\\x2\\x20js\\xff 88 me"],
                                    null]}}})");
    machine->platform.processTable = nullptr;
    const Ranking sockets{{88, "node\\x2 js\xEF\xBF\xBD", 2}, {1, "b", 1}};
    EXPECT_EQ(after(0, network), sockets);
    EXPECT_EQ(reader->cached(cpu, 10), (Ranking{{412, "WindowServer", 12.5}, {1, "launchd", 0}, {-5, "A B", -1.5}}));
    EXPECT_EQ(reader->cached(memory, 9),
              (Ranking{{-5, "A B", 18446744073709550592.0}, {412, "WindowServer", 1048576}, {1, "launchd", 65536}}));
    EXPECT_EQ(after(0, network), sockets);  // it cannot be started
}

TEST(ProcessCommands, AreStoppedWhenTheirTimeIsOver) {
    using Texts = std::vector<std::string>;
    struct Case {
        bool isThere, hangs, ignoresTermination;
        Texts pieces;
        std::optional<std::string> output;
        double seconds;
        Texts signals;
    };
    for (const Case& known : {Case{false, false, false, {}, {}, 0, {}},
                              {true, false, false, {"a\xFF", "z"}, "a\xEF\xBF\xBDz", 0, {}},
                              {true, true, false, {"partial"}, "partial", 5, {"terminate"}},
                              {true, true, true, {}, "", 5.5, {"terminate", "kill"}}}) {
        FakePlatform machine;
        FakeCommands& commands = machine.commands;
        commands.isThere = known.isThere;
        commands.hangs = known.hangs;
        commands.ignoresTermination = known.ignoresTermination;
        commands.pieces = known.pieces;
        const auto end = machine.clock.monotonicTime + Seconds(known.seconds);
        EXPECT_EQ(ProcessReader().run("/bin/slow", {"-a", "b c"}, Seconds(5)), known.output);
        EXPECT_EQ(commands.line, "/bin/slow -a b c");
        EXPECT_EQ(machine.clock.monotonicTime, end);
        EXPECT_EQ(commands.signals, known.signals);
    }
}

TEST_F(Processes, AreWrittenAsSixRankings) {
    describe();
    SensorSnapshot route;
    EXPECT_EQ(route.processes(), R"({"cpu":[],"gpu":[],"memory":[],"disk":[],"network":[],"power":[]})");
    table.rows = {{{412, 1, "say \"/\x01\xE6\x97", 23.5, 1610612736}}};
    route.setProcessReader(reader);
    reader->tick();
    const std::string entry = R"([{"pid":412,"name":"say \"/\u0001�","value":)";
    EXPECT_EQ(route.processes(), R"({"cpu":)" + entry + R"(23.5}],"gpu":)" + entry + R"(0.0}],"memory":)" + entry +
                                     R"(1610612736.0}],"disk":[],"network":[],"power":[]})");
}

}  // namespace
}  // namespace zqm
