#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zqm {

constexpr std::string_view lowerHexadecimal = "0123456789abcdef";
constexpr std::string_view upperHexadecimal = "0123456789ABCDEF";

/// Appends the two digits of a byte.
inline void appendHexadecimal(std::string& out, std::uint8_t byte, std::string_view digits = lowerHexadecimal) {
    out += digits[byte >> 4];
    out += digits[byte & 15];
}

}  // namespace zqm
