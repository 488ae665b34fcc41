#include "Client/Watch/Graph.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>
#include <string_view>

namespace zqm {
namespace {

constexpr std::size_t brailleLevels = 4;
constexpr std::size_t asciiLevels = 3;

/// How many of the levels of the whole height a value fills; a value that is there fills one at least.
std::size_t levelOf(double value, std::size_t levels) {
    if (!std::isfinite(value)) return 0;
    const double level = std::round(std::clamp(value, 0.0, 1.0) * static_cast<double>(levels));
    return std::max<std::size_t>(1, static_cast<std::size_t>(level));
}

/// The part of a level that falls into the row, counted from where the area begins.
std::size_t within(std::size_t level, std::size_t row, std::size_t perRow) {
    return std::min(perRow, level - std::min(level, row * perRow));
}

std::string brailleCell(std::size_t left, std::size_t right, bool isHanging) {
    // The dots of one column from the bottom up, as bits of the character.
    static constexpr std::array<std::array<unsigned, brailleLevels>, 2> dots{{{0x40, 0x04, 0x02, 0x01},  //
                                                                              {0x80, 0x20, 0x10, 0x08}}};
    unsigned bits = 0;
    for (std::size_t i = 0; i < brailleLevels; ++i) {
        const std::size_t dot = isHanging ? brailleLevels - 1 - i : i;
        if (i < left) bits |= dots[0][dot];
        if (i < right) bits |= dots[1][dot];
    }
    if (bits == 0) return " ";  // the braille blank is no blank in every font
    return {'\xE2', static_cast<char>(0xA0 | bits >> 6), static_cast<char>(0x80 | (bits & 0x3F))};
}

}  // namespace

std::vector<std::string> areaGraph(std::span<const double> values, std::size_t rows, Glyphs glyphs, bool isHanging) {
    const bool isBraille = glyphs == Glyphs::braille;
    const std::size_t perRow = isBraille ? brailleLevels : asciiLevels;
    const std::size_t step = valuesPerCell(glyphs);
    const std::string_view marks = isHanging ? " ':#" : " .:#";
    std::vector<std::string> lines(rows);
    for (std::size_t i = 0; i < values.size(); i += step) {
        const std::size_t left = levelOf(values[i], rows * perRow);
        const std::size_t right = i + 1 < values.size() ? levelOf(values[i + 1], rows * perRow) : 0;
        for (std::size_t row = 0; row < rows; ++row) {
            std::string& line = lines[isHanging ? row : rows - 1 - row];
            const std::size_t height = within(left, row, perRow);
            if (isBraille) {
                line += brailleCell(height, within(right, row, perRow), isHanging);
            } else {
                line += marks[height];
            }
        }
    }
    return lines;
}

std::vector<double> barValues(std::span<const double> values, std::size_t places) {
    std::vector<double> result;
    if (values.empty() || places == 0) return result;
    if (values.size() > places) {
        const std::size_t group = (values.size() + places - 1) / places;
        for (std::size_t i = 0; i < values.size(); i += group) {
            const auto part = values.subspan(i, std::min(group, values.size() - i));
            result.push_back(std::accumulate(part.begin(), part.end(), 0.0) / static_cast<double>(part.size()));
        }
        return result;
    }
    constexpr std::size_t widest = 6;
    const std::size_t width = std::min(places / values.size(), widest);
    for (const double value : values) {
        result.insert(result.end(), width, value);
        if (width > 2) result.back() = std::numeric_limits<double>::quiet_NaN();
    }
    return result;
}

double roundScale(double most, double least) {
    if (!std::isfinite(most) || most <= least) return least;
    const double power = std::pow(10, std::floor(std::log10(most)));
    for (const double step : {1.0, 2.0, 5.0}) {
        if (most <= step * power) return step * power;
    }
    return 10 * power;
}

}  // namespace zqm
