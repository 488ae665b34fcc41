#pragma once

#include <cstdint>

namespace zqm {

/// Growth of a cumulative counter; 0 when it went down (it wrapped, or its device was replaced).
constexpr std::uint64_t growth(std::uint64_t previous, std::uint64_t current) {
    return current >= previous ? current - previous : 0;
}

/// Growth per second over `seconds`; 0 when no time has passed or the clock went backwards.
constexpr double ratePerSecond(std::uint64_t previous, std::uint64_t current, double seconds) {
    return seconds > 0 ? static_cast<double>(growth(previous, current)) / seconds : 0;
}

}  // namespace zqm
