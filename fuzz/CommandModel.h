#pragma once

#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Reading what commands print, the slow way: for the targets that compare it with the program's.

namespace zqm {

/// The pieces between the separators, those that are empty left out.
inline std::vector<std::string> pieces(std::string_view text, char separator) {
    std::vector<std::string> found(1);
    for (const char c : text) {
        if (c == separator) {
            found.emplace_back();
        } else {
            found.back() += c;
        }
    }
    std::erase(found, "");
    return found;
}

inline bool isSignedNumber(std::string_view text, std::string_view others) {
    const std::size_t digits = text.find_first_not_of("+-");
    return digits <= 1 && text.find_first_not_of("0123456789" + std::string(others), digits) == text.npos;
}

inline std::optional<std::int32_t> pidModel(const std::string& text) {
    if (!isSignedNumber(text, "")) return std::nullopt;
    errno = 0;
    const long long value = std::strtoll(text.c_str(), nullptr, 10);
    return errno == 0 && value >= INT32_MIN && value <= INT32_MAX ? std::optional(static_cast<std::int32_t>(value))
                                                                  : std::nullopt;
}

}  // namespace zqm
