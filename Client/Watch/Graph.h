#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

/// Values as text cells. Pure.
namespace zqm {

/// What the terminal can show.
enum class Glyphs { ascii, braille };

/// Values side by side in one cell.
constexpr std::size_t valuesPerCell(Glyphs glyphs) {
    return glyphs == Glyphs::braille ? 2 : 1;
}

/// Fills the area under the values (0–1, oldest first; NaN is a gap and stays empty, 0 is a thin line), one text per
/// row from the top, `valuesPerCell` values in each cell. A hanging area is filled from the top down.
std::vector<std::string> areaGraph(std::span<const double> values, std::size_t rows, Glyphs glyphs,
                                   bool isHanging = false);

/// `values` as bars on at most `places` places: each as wide as there is room for and parted from the next where it is
/// wide enough, or neighbours put together as their mean where there are too many.
std::vector<double> barValues(std::span<const double> values, std::size_t places);

/// The upper end of a scale for values up to `most`: 1, 2 or 5 times a power of ten, and no less than `least`.
double roundScale(double most, double least);

}  // namespace zqm
