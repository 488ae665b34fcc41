#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace zqm {

/// The texts of an enumeration's cases, in declaration order from 0: their stored and JSON forms. Specialised beside
/// each such enumeration with `static constexpr std::array<std::string_view, N> texts`.
template <class Enum>
struct RawValues;

template <class Enum>
constexpr std::string_view rawValue(Enum value) {
    return RawValues<Enum>::texts[static_cast<std::size_t>(value)];
}

/// The case whose text is exactly `text`.
template <class Enum>
constexpr std::optional<Enum> fromRawValue(std::string_view text) {
    for (std::size_t i = 0; i < RawValues<Enum>::texts.size(); ++i) {
        if (RawValues<Enum>::texts[i] == text) return static_cast<Enum>(i);
    }
    return std::nullopt;
}

/// Every case in declaration order.
template <class Enum>
constexpr auto allCases() {
    std::array<Enum, RawValues<Enum>::texts.size()> cases{};
    for (std::size_t i = 0; i < cases.size(); ++i) cases[i] = static_cast<Enum>(i);
    return cases;
}

}  // namespace zqm
