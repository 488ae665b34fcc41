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
    Ranking busy, large;
    for (int i = 0; i < 10; ++i) {
        busy.push_back({2 * i + 1, "p" + std::to_string(2 * i + 1), 1});  // equal ones in the table's order
        large.push_back({100 - i, "p" + std::to_string(100 - i), 100.0 - i});
    }
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(reader->cached(cpu, 10), busy);
        EXPECT_EQ(reader->cached(memory, 99), large);
        EXPECT_EQ(reader->cached(memory, 2), (Ranking{large[0], large[1]}));
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
    int updates = 0;
    reader->onUpdate([&] { ++updates; });
    reader->start();
    machine->process.loop.runFor(Seconds(1));
    reader->start();  // once is enough
    struct Step {
        double seconds;
        bool isSlow;  // a sample takes all this time
        int updates;
    };
    for (const Step& step : {Step{0, false, 1}, {5, false, 4}, {6, true, 4}, {1, false, 5}, {2, true, 5}}) {
        machine->process.loop.holdBackground = step.isSlow;
        machine->process.loop.runFor(Seconds(step.seconds));
        EXPECT_EQ(updates, step.updates);
    }
    reader.reset();
    machine->process.loop.holdBackground = false;
    machine->process.loop.runFor(Seconds(4));
    EXPECT_EQ(updates, 5);
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
    for (const auto& [isThere, hangs, ignores, pieces, output, seconds, signals] : std::initializer_list<Case>{
             {false, false, false, {}, {}, 0, {}},
             {true, false, false, {"a\xFF", "z"}, "a\xEF\xBF\xBDz", 0, {}},
             {true, true, false, {"partial"}, "partial", 5, {"terminate"}},
             {true, true, true, {}, "", 5.5, {"terminate", "kill"}},
         }) {
        FakePlatform machine;
        FakeCommands& commands = machine.commands;
        std::tie(commands.isThere, commands.hangs, commands.ignoresTermination) = std::tie(isThere, hangs, ignores);
        commands.pieces = pieces;
        const auto begin = machine.clock.monotonicTime;
        EXPECT_EQ(ProcessReader().run("/bin/slow", {"-a", "b c"}, Seconds(5)), output);
        EXPECT_EQ(commands.line, "/bin/slow -a b c");
        EXPECT_EQ(machine.clock.monotonicTime - begin, Seconds(seconds));
        EXPECT_EQ(commands.signals, signals);
    }
}

TEST_F(Processes, AreWrittenAsSixRankings) {
    describe();
    SensorSnapshot route;
    EXPECT_EQ(route.processes(), R"({"cpu":[],"gpu":[],"memory":[],"disk":[],"network":[],"power":[]})");
    table.rows = {{{412, 1, "say \"/\x01\xE6\x97", 23.5, 1610612736}}};
    route.setProcessReader(reader);
    reader->tick();
    const std::string entry = R"([{"pid":412,"name":"say \"/\u0001)"
                              "\xEF\xBF\xBD"
                              R"(","value":)";
    EXPECT_EQ(route.processes(), R"({"cpu":)" + entry + R"(23.5}],"gpu":)" + entry + R"(0.0}],"memory":)" + entry +
                                     R"(1610612736.0}],"disk":[],"network":[],"power":[]})");
}

}  // namespace
}  // namespace zqm
