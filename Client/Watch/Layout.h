#pragma once

#include <cstddef>
#include <vector>

/// Where what stands on a screen of a size. Pure.
namespace zqm {

struct Size {
    std::size_t columns = 0;
    std::size_t rows = 0;
    bool operator==(const Size&) const = default;
};

struct Rectangle {
    std::size_t column = 0;
    std::size_t row = 0;
    std::size_t columns = 0;
    std::size_t rows = 0;
};

struct Layout {
    std::vector<Rectangle> panels;    // the first panels; those beyond do not fit
    std::vector<Rectangle> rankings;  // side by side
    bool hasFooter = false;
};

/// The header takes the first row. Panels come in rows of equal ones, each with its title and two rows of graph at
/// least; what remains goes to the rankings up to their ten entries, then to the graphs.
Layout layoutFor(Size screen, std::size_t panels, std::size_t rankings);

/// How the graphs of single processors share a panel's area: `perRow` of this size in a row; 0 when they are too many
/// for a graph each.
struct CoreGrid {
    std::size_t perRow = 0;
    Size cell;
};
constexpr std::size_t coreGap = 2;  // columns between neighbours
CoreGrid coreGrid(std::size_t cores, Size area);

}  // namespace zqm
