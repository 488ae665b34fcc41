#include "Client/Watch/Layout.h"

#include <algorithm>

namespace zqm {
namespace {

constexpr std::size_t gap = 2;  // between neighbours
constexpr std::size_t leastPanelRows = 3;
constexpr std::size_t leastRankingRows = 4;
constexpr std::size_t mostRankingRows = 11;  // a title and ten entries
constexpr std::size_t leastPanelColumns = 36;
constexpr std::size_t mostPanelColumns = 110;
constexpr std::size_t leastRankingColumns = 30;  // ten for a name beside PID and value
constexpr std::size_t leastCoreColumns = 6;      // a label and a few values
constexpr std::size_t goodCoreColumns = 24;      // wide enough to prefer height

std::size_t ratioUp(std::size_t whole, std::size_t part) {
    return (whole + part - 1) / part;
}

/// `count` neighbours that together take the whole width.
std::vector<Rectangle> sideBySide(std::size_t count, std::size_t row, std::size_t columns, std::size_t rows) {
    std::vector<Rectangle> result;
    const std::size_t room = columns - std::min(columns, gap * (count - 1));
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t begin = room * i / count;
        result.push_back({begin + gap * i, row, room * (i + 1) / count - begin, rows});
    }
    return result;
}

std::size_t panelsPerRow(std::size_t columns, std::size_t panels) {
    const std::size_t most = std::max<std::size_t>(1, (columns + gap) / (leastPanelColumns + gap));
    const std::size_t usual = std::max<std::size_t>(2, ratioUp(columns, mostPanelColumns));
    return std::max<std::size_t>(1, std::min({most, usual, panels}));
}

}  // namespace

Layout layoutFor(Size screen, std::size_t panels, std::size_t rankings) {
    Layout layout;
    layout.hasFooter = screen.rows >= 10;
    const std::size_t frame = layout.hasFooter ? 2 : 1;
    if (screen.rows <= frame || panels == 0) return layout;
    const std::size_t body = screen.rows - frame;
    const std::size_t perRow = panelsPerRow(screen.columns, panels);
    const std::size_t wanted = ratioUp(panels, perRow);

    const bool hasRankings = rankings > 0 && body >= leastPanelRows + leastRankingRows;
    const std::size_t reserved = hasRankings ? leastRankingRows : 0;
    const std::size_t bands = std::clamp<std::size_t>((body - reserved) / leastPanelRows, 1, wanted);
    const std::size_t rankingRows =
        hasRankings ? std::min(mostRankingRows, body - std::min(body, bands * leastPanelRows)) : 0;
    const std::size_t panelRows = body - rankingRows;

    std::size_t shown = std::min(panels, bands * perRow);
    for (std::size_t band = 0; band < bands; ++band) {
        const std::size_t begin = panelRows * band / bands;
        const std::size_t count = std::min(perRow, shown);
        const auto neighbours = sideBySide(count, 1 + begin, screen.columns, panelRows * (band + 1) / bands - begin);
        layout.panels.insert(layout.panels.end(), neighbours.begin(), neighbours.end());
        shown -= count;
    }
    if (hasRankings) {
        const std::size_t fitting = (screen.columns + gap) / (leastRankingColumns + gap);
        layout.rankings =
            sideBySide(std::clamp<std::size_t>(fitting, 1, rankings), 1 + panelRows, screen.columns, rankingRows);
    }
    return layout;
}

CoreGrid coreGrid(std::size_t cores, Size area) {
    const std::size_t most = (area.columns + coreGap) / (leastCoreColumns + coreGap);
    CoreGrid grid;
    for (std::size_t perRow = 1; perRow <= std::min(most, cores); ++perRow) {
        const Size cell{(area.columns + coreGap) / perRow - coreGap, area.rows / ratioUp(cores, perRow)};
        if (cell.rows == 0) continue;
        if (grid.perRow > 0 && (cell.columns < goodCoreColumns || grid.cell.rows > 1)) break;
        grid = {perRow, cell};
    }
    return grid;
}

}  // namespace zqm
