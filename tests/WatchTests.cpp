#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <tuple>

#include "Client/Watch/Controls.h"
#include "Client/Watch/Graph.h"
#include "Client/Watch/History.h"

namespace zqm {
namespace {

constexpr double gap = std::numeric_limits<double>::quiet_NaN();

constexpr double infinite = std::numeric_limits<double>::infinity();

/// A digit of eighths for each value, "-" for a gap.
std::string text(const std::vector<double>& values) {
    std::string result;
    for (const double value : values) result += std::isnan(value) ? "-" : std::to_string(std::lround(value * 8));
    return result;
}

TEST(WatchGraph, FillsTheAreaUnderTheValues) {
    using Case = std::tuple<std::vector<double>, Glyphs, bool, std::vector<std::string>>;
    for (const auto& [values, glyphs, isHanging, lines] :
         {Case{{0, 0, gap, 0, gap, infinite}, Glyphs::braille, false, {"   ", "⣀⢀ "}},
          {{1, 1, 0.5, 0.5, 0.75, 0.25}, Glyphs::braille, false, {"⣿ ⡄", "⣿⣿⣧"}},
          {{-3, 7}, Glyphs::braille, false, {"⢸", "⣸"}},
          {{0, 1, 0.5, gap, 2.0 / 3}, Glyphs::ascii, true, {"'## #", " #  '"}}}) {
        EXPECT_EQ(areaGraph(values, 2, glyphs, isHanging), lines);
    }
    for (const auto& [most, scale] :
         {std::pair{1000.0, 1000.0}, {1001, 2000}, {2100, 5000}, {5.1e6, 1e7}, {gap, 1000}}) {
        EXPECT_DOUBLE_EQ(roundScale(most, 1000), scale);
    }
    EXPECT_EQ(text(barValues(std::vector{0.25, 0.75}, 5)), "2266");
    EXPECT_EQ(text(barValues(std::vector{0.25, 0.75, 1.0}, 2)), "48");
    EXPECT_EQ(text(barValues(std::vector{0.25, 0.75}, 6)), "22-66-");
}

/// What the machine is asked by keys.
struct FakeActions final : ProcessActions {
    std::optional<ProcessFacts> look(std::int32_t pid) override {
        return pid == 7 ? std::nullopt : std::optional(ProcessFacts{.startTime = 5, .user = "u", .command = "c"});
    }
    std::string end(std::int32_t pid, const ProcessFacts&) override {
        ended.push_back(pid);
        return "done";
    }
    std::vector<std::int32_t> ended;
};

/// The choices after keys: characters, "v" and "^" for the arrows, ">" for Tab, "!" for Enter, "~" for Escape.
std::string afterKeys(std::string_view keys) {
    SnapshotReply reply;
    reply.processes[0] = {{9, "nine", 3}, {7, "seven", 2}, {8, "eight", 1}, {1, "idle", 0}};
    FakeActions actions;
    Choices choices;
    for (const char key : keys) {
        const Key kind = key == 'v'   ? Key::down
                         : key == '^' ? Key::up
                         : key == '>' ? Key::next
                         : key == '!' ? Key::enter
                         : key == '~' ? Key::escape
                                      : Key::character;
        press({kind, key}, &reply, actions, choices);
    }
    std::string text = choices.selectedPid ? std::to_string(*choices.selectedPid) : "-";
    text += " " + std::to_string(choices.firstRanking) + " " + std::to_string(choices.pace);
    if (choices.isPaused) text += " paused";
    if (choices.showsHelp) text += " help";
    if (choices.isOver) text += " over";
    if (const auto& inspection = choices.inspection) {
        text += " at " + std::to_string(inspection->process.pid) + (inspection->facts ? " known" : "") +
                (inspection->isAsking ? " asking" : "") + inspection->outcome;
    }
    for (const std::int32_t pid : actions.ended) text += " ended " + std::to_string(pid);
    return text;
}

TEST(WatchControls, DoWhatTheHelpSays) {
    for (const auto& [keys, choices] : std::initializer_list<std::pair<std::string_view, std::string_view>>{
             {"", "- 0 1"},
             {"v", "9 0 1"},
             {"vv", "7 0 1"},
             {"vvvvv", "8 0 1"},  // idle ones are not shown
             {"vv^^", "9 0 1"},
             {"svv", "9 0 1"},  // eight, nine, seven
             {"ssv", "7 0 1"},
             {"sssv", "9 0 1"},
             {"v>", "- 1 1"},
             {">>>>>>>", "- 1 1"},
             {"3v", "- 2 1"},  // an empty ranking
             {"7", "- 0 1"},
             {"v~", "- 0 1"},
             {"+++-", "- 0 5"},
             {"+-", "- 0 1"},
             {"-", "- 0 1"},
             {"++++++++", "- 0 60"},
             {"p", "- 0 1 paused"},
             {"p ", "- 0 1"},
             {"?", "- 0 1 help"},
             {"?p", "- 0 1"},
             {"?q", "- 0 1 over"},
             {"!", "9 0 1 at 9 known"},
             {"vv!k", "7 0 1"},  // nothing is known of it: k is any key
             {"!k", "9 0 1 at 9 known asking"},
             {"!kn", "9 0 1 at 9 known"},
             {"!ky", "9 0 1 at 9 knowndone ended 9"},
             {"!kyk", "9 0 1 ended 9"},
             {"!y", "9 0 1"},
             {"!q", "9 0 1 over"}}) {
        EXPECT_EQ(afterKeys(keys), choices) << keys;
    }
}

TEST(WatchHistory, KeepsTheLatestSlotsInPlace) {
    History history;
    SystemSnapshot snapshot;
    const auto add = [&](double value) {
        snapshot.cpu.totalUsage = value;
        snapshot.cpu.perCoreUsage = {value, 1};
        history.add(snapshot);
    };
    add(0.125);
    EXPECT_EQ(text(history.latest(Track::cpu, 2, 2)), "--1-");
    add(0.25);
    history.addGap();
    EXPECT_EQ(text(history.latest(Track::cpu, 2, 2)), "12--");
    EXPECT_EQ(text(history.latest(Track::cpu, 4, 1)), "-12-");
    EXPECT_EQ(text(history.latestOfCore(1, 2, 2)) + text(history.latestOfCore(7, 1, 2)), "88----");
    for (std::size_t i = 0; i < History::capacity; ++i) add(0.5);
    EXPECT_EQ(text(history.latest(Track::cpu, History::capacity + 2, 1)).substr(0, 4), "--44");
    EXPECT_EQ(text(history.latest(Track::cpu, 2, 2)), "444-") << "not what was forgotten in its place";
    snapshot.gpu.temperatureC = 40;
    add(0);
    snapshot.gpu.temperatureC = 0;
    add(0);
    EXPECT_TRUE(history.isKnown(Track::gpuTemperature));
    EXPECT_FALSE(history.isKnown(Track::gpu));  // its temperature alone may be the processor's
    EXPECT_EQ(text(history.latest(Track::gpuTemperature, 1, 1)), "-");
}

}  // namespace
}  // namespace zqm
