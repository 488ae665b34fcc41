#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "Client/Watch/Graph.h"
#include "Client/Watch/History.h"
#include "Client/Watch/Layout.h"

namespace zqm {
namespace {

constexpr double gap = std::numeric_limits<double>::quiet_NaN();

TEST(WatchGraph, FillsTheAreaUnderTheValues) {
    struct Case {
        std::vector<double> values;
        Glyphs glyphs;
        bool isHanging;
        std::vector<std::string> lines;
    };
    const double infinite = std::numeric_limits<double>::infinity();
    const std::vector<Case> cases{
        {{0, 0, gap, 0, gap, infinite}, Glyphs::braille, false, {"   ", "⣀⢀ "}},
        {{1, 1, 0.5, 0.5, 0.75, 0.25}, Glyphs::braille, false, {"⣿ ⡄", "⣿⣿⣧"}},
        {{1, 1, 0.5, 0.5, 0.75, 0.25}, Glyphs::braille, true, {"⣿⣿⡟", "⣿ ⠃"}},
        {{-3, 7}, Glyphs::braille, false, {"⢸", "⣸"}},
        {{0, 1, 0.5, gap, 2.0 / 3}, Glyphs::ascii, false, {" #  .", ".## #"}},
        {{0, 1, 0.5, gap, 2.0 / 3}, Glyphs::ascii, true, {"'## #", " #  '"}},
    };
    for (const Case& c : cases) EXPECT_EQ(areaGraph(c.values, 2, c.glyphs, c.isHanging), c.lines) << c.lines[1];
}

TEST(WatchGraph, FindsRoundScalesAndBarsThatFit) {
    for (const auto& [most, scale] : {std::pair{0.0, 1000.0},
                                      {1000, 1000},
                                      {1001, 2000},
                                      {2100, 5000},
                                      {5.1e6, 1e7},
                                      {gap, 1000},
                                      {std::numeric_limits<double>::infinity(), 1000}}) {
        EXPECT_DOUBLE_EQ(roundScale(most, 1000), scale) << most;
    }
    EXPECT_EQ(barValues(std::vector{0.25, 0.75}, 5), (std::vector{0.25, 0.25, 0.75, 0.75}));
    EXPECT_EQ(barValues(std::vector{0.25, 0.75, 1.0}, 2), (std::vector{0.5, 1.0}));
    const auto parted = barValues(std::vector{0.25, 0.75}, 6);
    ASSERT_EQ(parted.size(), 6u);
    EXPECT_TRUE(parted[1] == 0.25 && std::isnan(parted[2]) && parted[3] == 0.75);
}

/// Each lies on the screen, below the header and above the footer, and none covers another.
void expectApart(const Layout& layout, Size screen) {
    std::vector<bool> taken(screen.columns * screen.rows);
    std::vector<Rectangle> all = layout.panels;
    all.insert(all.end(), layout.rankings.begin(), layout.rankings.end());
    for (const Rectangle& area : all) {
        ASSERT_TRUE(area.row >= 1 && area.row + area.rows + (layout.hasFooter ? 1 : 0) <= screen.rows);
        ASSERT_TRUE(area.column + area.columns <= screen.columns);
        for (std::size_t cell = 0; cell < area.rows * area.columns; ++cell) {
            auto at = taken[(area.row + cell / area.columns) * screen.columns + area.column + cell % area.columns];
            ASSERT_FALSE(at);
            at = true;
        }
    }
}

TEST(WatchLayout, FitsEverySize) {
    for (std::size_t columns = 1; columns <= 320; columns += columns < 90 ? 3 : 47) {
        for (std::size_t rows = 1; rows <= 110; rows += rows < 40 ? 2 : 29) {
            for (const std::size_t panels : {1, 9, 10}) {
                SCOPED_TRACE(std::to_string(columns) + "x" + std::to_string(rows) + " " + std::to_string(panels));
                ASSERT_NO_FATAL_FAILURE(expectApart(layoutFor({columns, rows}, panels, 6), {columns, rows}));
            }
            for (const std::size_t cores : {1, 2, 8, 12, 64, 1000}) {
                const CoreGrid grid = coreGrid(cores, {columns, rows});
                if (grid.perRow == 0) continue;
                ASSERT_LE(grid.perRow * (grid.cell.columns + coreGap), columns + coreGap);
                ASSERT_LE((cores + grid.perRow - 1) / grid.perRow * grid.cell.rows, rows);
            }
        }
    }
    for (const auto& [size, rankings, rankingRows] :
         {std::tuple{Size{80, 24}, 3u, 7u}, {Size{200, 60}, 6u, 11u}, {Size{120, 40}, 4u, 11u}}) {
        const Layout layout = layoutFor(size, 10, 6);
        EXPECT_EQ(layout.panels.size(), 10u);
        ASSERT_EQ(layout.rankings.size(), rankings);
        EXPECT_EQ(layout.rankings[0].rows, rankingRows);
        EXPECT_EQ(layout.panels.back().column + layout.panels.back().columns, size.columns);
    }
    EXPECT_EQ(layoutFor({20, 5}, 10, 6).panels.size(), 1u);
    EXPECT_EQ(coreGrid(8, {39, 2}).perRow, 4u);
    EXPECT_EQ(coreGrid(64, {39, 2}).perRow, 0u);
}

TEST(WatchHistory, KeepsTheLatestSlotsInPlace) {
    History history;
    SystemSnapshot snapshot;
    const auto add = [&](double value) {
        snapshot.cpu.totalUsage = value;
        snapshot.cpu.perCoreUsage = {value, 1};
        history.add(snapshot);
    };
    const auto text = [](const std::vector<double>& values) {
        std::string result;
        for (const double value : values) result += std::isnan(value) ? "-" : std::to_string(std::lround(value * 8));
        return result;
    };
    add(0.125);
    EXPECT_EQ(text(history.latest(Quantity::cpu, 2, 2)), "--1-");
    add(0.25);
    history.addGap();
    EXPECT_EQ(text(history.latest(Quantity::cpu, 2, 2)), "12--");
    EXPECT_EQ(text(history.latest(Quantity::cpu, 4, 1)), "-12-");
    EXPECT_EQ(text(history.latestOfCore(1, 2, 2)) + text(history.latestOfCore(7, 1, 2)), "88----");
    for (std::size_t i = 0; i < History::capacity; ++i) add(0.5);
    EXPECT_EQ(text(history.latest(Quantity::cpu, History::capacity + 2, 1)).substr(0, 4), "--44");
    EXPECT_FALSE(history.isKnown(Quantity::temperature));
    snapshot.gpu.temperatureC = 40;
    add(0);
    snapshot.gpu.temperatureC = 0;
    add(0);
    EXPECT_TRUE(history.isKnown(Quantity::temperature));
    EXPECT_TRUE(std::isnan(history.latest(Quantity::temperature, 1, 1)[0]));
}

}  // namespace
}  // namespace zqm
