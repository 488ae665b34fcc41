#include "ZQMHelper/Shared/ProcessReader.h"

#include <gtest/gtest.h>

#include "ZQMHelper/SensorSnapshot.h"
#include "ZQMHelper/Shared/CommandOutput.h"
#include "tests/fakes/FakePlatform.h"

namespace zqm {
namespace {

using enum ProcessCategory;
using Ranking = std::vector<TopProcess>;

ProcessRow row(std::int32_t pid, double cpu, std::uint64_t resident = 0, std::uint64_t startTime = 1) {
    return {.pid = pid,
            .startTime = startTime,
            .name = "p" + std::to_string(pid),
            .cpuPercent = cpu,
            .residentBytes = resident};
}

struct Processes : testing::Test {
    FakePlatform machine;
    FakeProcessTable& table = machine.processTable;
    FakeTaskCounters& counters = machine.taskCounters;
    std::shared_ptr<ProcessReader> reader = std::make_shared<ProcessReader>();

    Ranking after(Seconds time, ProcessCategory category) {
        machine.clock.advance(time);
        reader->tick();
        return reader->cached(category, 10);
    }
    void setUtilization(double percent) {
        machine.registry.classes["IOAccelerator"] = {
            {.name = "",
             .properties = {{"PerformanceStatistics", PropertyDictionary{{"Device Utilization %", percent}}}}}};
    }
};

TEST_F(Processes, RankStablyAndByTheWholeTable) {
    EXPECT_TRUE(reader->cached(cpu, 10).empty());
    table.rows->clear();
    for (int pid = 1; pid <= 100; ++pid) table.rows->push_back(row(pid, pid % 2, static_cast<std::uint64_t>(pid)));
    reader->tick();
    Ranking busy, large;
    for (int i = 0; i < 10; ++i) {
        busy.push_back({2 * i + 1, "p" + std::to_string(2 * i + 1), 1});  // equal ones in the table's order
        large.push_back({100 - i, "p" + std::to_string(100 - i), 100.0 - i});
    }
    EXPECT_EQ(reader->cached(cpu, 10), busy);
    EXPECT_EQ(reader->cached(memory, 99), large);
    EXPECT_EQ(reader->cached(memory, 2), (Ranking{large[0], large[1]}));
    EXPECT_TRUE(reader->cached(memory, 0).empty());
    EXPECT_EQ(counters.queries, 60);  // counters are asked of the busiest alone
}

TEST_F(Processes, KeepTheLastRankingThatHadEntries) {
    table.rows = {{row(1, 5)}};
    table.owners = {{{.pid = 7, .name = "a", .sockets = 1}, {.pid = 8, .name = "b", .sockets = 3}}};
    reader->tick();
    const Ranking sockets{{8, "b", 3}, {7, "a", 1}};
    EXPECT_EQ(reader->cached(network, 10), sockets);
    table.rows = std::nullopt;
    table.owners = std::nullopt;
    reader->tick();
    EXPECT_EQ(reader->cached(network, 10), sockets);
    EXPECT_EQ(reader->cached(cpu, 10), (Ranking{{1, "p1", 5}}));
}

TEST_F(Processes, DiskRatesComeFromTheGrowthOfTheirCounters) {
    table.rows = {{row(1, 9), row(2, 8), row(3, 7), row(4, 6)}};
    counters.disks = {{1, {1000, 0}}, {2, {0, 0}}, {3, {500, 500}}};
    EXPECT_TRUE(after(Seconds(1), disk).empty());
    counters.disks = {{1, {3000, 0}}, {2, {0, 1}}, {3, {100, 3500}}, {4, {1 << 20, 0}}};
    // One byte a second is too little, a counter that fell counts as no use, and a new process has no rate yet.
    EXPECT_EQ(after(Seconds(1), disk), (Ranking{{3, "p3", 3000}, {1, "p1", 2000}}));
    counters.disks[1] = {3100, 0};
    EXPECT_EQ(after(Seconds(0.01), disk), (Ranking{{1, "p1", 1000}}));  // as if a tenth of a second had passed
    table.rows = {{row(1, 9, 0, 2)}};                                   // the pid again, another process
    counters.disks = {{1, {900000, 0}}};
    EXPECT_EQ(after(Seconds(1), disk), (Ranking{{1, "p1", 1000}}));  // nothing new to rank
}

TEST_F(Processes, PowerIsTheGrowthOfTheirEnergy) {
    table.rows = {{row(1, 9), row(2, 8), row(3, 7)}};
    counters.powers = {{1, TaskPower{.energy = 0}}, {2, TaskPower{.energy = 5}}, {3, std::nullopt}};
    EXPECT_TRUE(after(Seconds(2), power).empty());
    counters.powers = {{1, TaskPower{.energy = 2000000}}, {2, TaskPower{.energy = 6000000005}}, {3, TaskPower{}}};
    EXPECT_EQ(after(Seconds(2), power), (Ranking{{2, "p2", 3}}));  // 1 mW is not above the threshold
}

TEST_F(Processes, ShareTheGPUByTheirProcessorTime) {
    table.rows = {{row(1, 10), row(2, 30), row(3, 0)}};
    setUtilization(50);
    EXPECT_EQ(after(Seconds(2), gpu), (Ranking{{2, "p2", 0.375}, {1, "p1", 0.125}, {3, "p3", 0}}));
    table.rows = {{row(4, 0)}};
    EXPECT_EQ(after(Seconds(2), gpu).front().pid, 2);  // nobody to share it: the last ranking stays
}

TEST_F(Processes, AreSampledAtOnceAndThenEveryTwoSecondsWithoutOverlap) {
    int updates = 0;
    reader->onUpdate([&] { ++updates; });
    reader->start();
    reader->start();
    machine.loop.runFor(Seconds(0));
    EXPECT_EQ(updates, 1);
    machine.loop.runFor(Seconds(6));
    EXPECT_EQ(updates, 4);
    machine.loop.holdBackground = true;
    machine.loop.runFor(Seconds(6));
    machine.loop.holdBackground = false;
    machine.loop.runFor(Seconds(1));
    EXPECT_EQ(updates, 5);
    machine.loop.holdBackground = true;
    machine.loop.runFor(Seconds(2));
    reader.reset();
    machine.loop.holdBackground = false;
    machine.loop.runFor(Seconds(4));
    EXPECT_EQ(updates, 5);
}

TEST_F(Processes, ComeFromCommandsWhereThereIsNoTable) {
    machine.platform.processTable = nullptr;
    machine.commands.scripts["/bin/ps"].pieces = {" 12.5   412 1024 Window", "Server\n  0.0 1 64 /sbin/launchd\n"};
    machine.commands.scripts["/usr/sbin/lsof"].pieces = {
        "COMMAND PID USER FD\nnode\\x20js 88 me 3u\nnode\\x20js 88 me 4u\n"};
    reader->tick();
    EXPECT_EQ(reader->cached(cpu, 10), (Ranking{{412, "WindowServer", 12.5}, {1, "launchd", 0}}));
    EXPECT_EQ(reader->cached(memory, 1), (Ranking{{412, "WindowServer", 1048576}}));
    EXPECT_EQ(reader->cached(network, 10), (Ranking{{88, "node js", 2}}));
    EXPECT_EQ(machine.commands.lines,
              (std::vector<std::string>{"/bin/ps -Aceo pcpu=,pid=,rss=,comm=", "/usr/sbin/lsof -i -nP +c 0"}));
    machine.commands.scripts.clear();
    reader->tick();
    EXPECT_EQ(reader->cached(network, 10), (Ranking{{88, "node js", 2}}));
}

TEST_F(Processes, CommandsAreStoppedWhenTheirTimeIsOver) {
    const auto run = [&] { return reader->run("/bin/slow", {}, Seconds(5)); };
    EXPECT_EQ(run(), std::nullopt);
    auto& script = machine.commands.scripts["/bin/slow"];
    script = {.pieces = {"a\xFF", "b"}};
    EXPECT_EQ(run(),
              "a\xEF\xBF\xBD"
              "b");
    EXPECT_TRUE(machine.commands.signals.empty());
    const auto begin = machine.clock.monotonicTime;
    script = {.pieces = {"partial"}, .hangs = true};
    EXPECT_EQ(run(), "partial");
    EXPECT_EQ(machine.commands.signals, std::vector<std::string>{"terminate"});
    EXPECT_EQ(machine.clock.monotonicTime - begin, Seconds(5));
    script = {.pieces = {}, .hangs = true, .ignoresTermination = true};
    EXPECT_EQ(run(), "");
    EXPECT_EQ(machine.commands.signals, (std::vector<std::string>{"terminate", "terminate", "kill"}));
    EXPECT_EQ(machine.clock.monotonicTime - begin, Seconds(10.5));
}

TEST(CommandOutput, RowsHoldFourColumns) {
    const auto rows = parseProcessRows(
        "   0.0     1   1024 /sbin/launchd\n\n"
        "1.5 2 3 two words \n"
        "1.5 2 3 /Applications/A B.app/Contents/MacOS/A B\n"
        "9.9 8 7\nx 1 2 n\n1 x 2 n\n1 2 x n\n1 2147483648 3 n\n1 2 -3 n\nnan 1 2 n\n"
        "100.0 -5 18446744073709551615 max");
    ASSERT_EQ(rows.size(), 4u);
    EXPECT_EQ(rows[0].name, "launchd");
    EXPECT_EQ(rows[0].pid, 1);
    EXPECT_EQ(rows[0].residentBytes, 1048576u);
    EXPECT_EQ(rows[1].name, "two words ");
    EXPECT_EQ(rows[2].name, "A B");
    EXPECT_EQ(rows[3].pid, -5);
    EXPECT_EQ(rows[3].residentBytes, 18446744073709550592u);
}

TEST(CommandOutput, SocketLinesAreCountedByPid) {
    const auto owners = parseSocketOwners("COMMAND   PID USER\nfirst 501 u\nb 88 u\nlast  501 u\n 501 \n\nfirst 501 u");
    ASSERT_EQ(owners.size(), 2u);
    EXPECT_EQ(owners[0].pid, 501);
    EXPECT_EQ(owners[0].sockets, 3u);
    EXPECT_EQ(owners[0].name, "first");
    EXPECT_EQ(owners[1].pid, 88);
}

TEST(CommandOutput, NamesAreUnescaped) {
    for (const auto& [escaped, name] : std::initializer_list<std::pair<std::string_view, std::string_view>>{
             {"plain", "plain"},
             {"Google\\x20Chrome", "Google Chrome"},
             {"\\xe6\\x97\\xA5\\x21", "日!"},
             {"cut\\x2", "cut\\x2"},
             {"\\xzz\\x41", "\\xzzA"},
             {"\\x+1", "\\x+1"},
             {"\\n\\x41", "\\nA"},
             {"bad\\xff", "bad\xEF\xBF\xBD"},
         }) {
        EXPECT_EQ(unescapeLsofName(escaped), name);
    }
}

TEST_F(Processes, AreWrittenAsSixRankings) {
    SensorSnapshot route;
    EXPECT_EQ(route.processes(), R"({"cpu":[],"gpu":[],"memory":[],"disk":[],"network":[],"power":[]})");
    table.rows = {{row(412, 23.5, 1610612736)}};
    route.setProcessReader(reader);
    reader->tick();
    EXPECT_EQ(route.processes(), R"({"cpu":[{"pid":412,"name":"p412","value":23.5}],"gpu":[{"pid":412,"name":"p412",)"
                                 R"("value":0.0}],"memory":[{"pid":412,"name":"p412","value":1610612736.0}],)"
                                 R"("disk":[],"network":[],"power":[]})");
}

TEST(ProcessList, ValuesAlwaysHaveAFractionOrAnExponent) {
    for (const auto& [value, text] :
         std::initializer_list<std::pair<double, std::string>>{{3, "3.0"},
                                                               {100000, "100000.0"},
                                                               {23.5, "23.5"},
                                                               {0, "0.0"},
                                                               {1e15, "1000000000000000.0"},
                                                               {1e16, "1e+16"},
                                                               {0.0001, "0.0001"},
                                                               {0.00001, "1e-05"},
                                                               {1.0 / 3, "0.3333333333333333"},
                                                               {1.5e300, "1.5e+300"}}) {
        std::string out;
        appendRanking(out, {{1, "n", value}});
        EXPECT_EQ(out, R"([{"pid":1,"name":"n","value":)" + text + "}]");
    }
}

TEST(ProcessList, NamesOfAnyBytesStayValidJson) {
    for (const auto& [name, text] : std::initializer_list<std::pair<std::string_view, std::string>>{
             {R"(say "hi" \o/)", R"(say \"hi\" \\o/)"},
             {"日本 🎉", "日本 🎉"},
             {"tab\tline\n\x01", R"(tab\tline\n\u0001)"},
             {"cut \xE6\x97", "cut \xEF\xBF\xBD"},
         }) {
        std::string out;
        appendRanking(out, {{-1, std::string(name), 1}});
        EXPECT_EQ(out, R"([{"pid":-1,"name":")" + text + R"(","value":1.0}])");
    }
}

}  // namespace
}  // namespace zqm
