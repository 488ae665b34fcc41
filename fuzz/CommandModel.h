#pragma once

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Reading lines and numbers the slow way: for the targets that compare it with the program's.

namespace zqm {

/// The pieces between the separators, those that are empty left out.
inline std::vector<std::string> pieces(std::string_view text, std::string_view separator) {
    std::vector<std::string> found;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(separator), text.size());
        if (end > 0) found.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + separator.size(), text.size()));
    }
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
