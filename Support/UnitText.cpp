#include "Support/UnitText.h"

#include <array>
#include <charconv>
#include <cmath>
#include <span>

namespace zqm {
namespace {

/// With three significant digits and the largest prefix that leaves at least one digit before the point.
std::string scaled(double value, double step, std::span<const char* const> units) {
    std::size_t unit = 0;
    while (unit + 1 < units.size() && std::abs(value) >= step - 0.5) {
        value /= step;
        ++unit;
    }
    if (unit == 0 || std::abs(value) >= 99.95) return fixedText(value, 0, units[unit]);
    return fixedText(value, std::abs(value) >= 9.995 ? 1 : 2, units[unit]);
}

}  // namespace

std::string fixedText(double value, int decimals, std::string_view unit) {
    std::array<char, 400> digits;  // the largest double has 309
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), std::isfinite(value) ? value : 0.0,
                                   std::chars_format::fixed, decimals);
    return std::string(digits.data(), end.ptr).append(unit);
}

std::string bytesText(double bytes) {
    static constexpr std::array units{" B", " KiB", " MiB", " GiB", " TiB", " PiB", " EiB"};
    return scaled(bytes, 1024, units);
}

std::string rateText(double bytesPerSecond) {
    static constexpr std::array units{" B/s", " kB/s", " MB/s", " GB/s", " TB/s"};
    return scaled(bytesPerSecond, 1000, units);
}

std::string wattsText(double watts) {
    return fixedText(watts, std::abs(watts) >= 9.995 ? 1 : 2, " W");
}

}  // namespace zqm
