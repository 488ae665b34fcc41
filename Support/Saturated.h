#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

/// Arithmetic that stays at the bounds of its type instead of wrapping: what it counts with comes from outside.
namespace zqm {

constexpr std::uint64_t addSaturated(std::uint64_t left, std::uint64_t right) {
    const std::uint64_t sum = left + right;
    return sum < left ? std::numeric_limits<std::uint64_t>::max() : sum;
}
template <class... More>
constexpr std::uint64_t addSaturated(std::uint64_t first, std::uint64_t second, More... more) {
    return addSaturated(addSaturated(first, second), more...);
}

constexpr std::uint64_t multiplySaturated(std::uint64_t left, std::uint64_t right) {
    std::uint64_t product = 0;
    return __builtin_mul_overflow(left, right, &product) ? std::numeric_limits<std::uint64_t>::max() : product;
}

/// The number without its fraction; 0 for NaN.
inline std::int64_t integerSaturated(double number) {
    constexpr double bound = 0x1p63;  // the first one past the range
    if (number >= bound) return std::numeric_limits<std::int64_t>::max();
    if (number < -bound) return std::numeric_limits<std::int64_t>::min();
    return std::isnan(number) ? 0 : static_cast<std::int64_t>(number);
}

}  // namespace zqm
