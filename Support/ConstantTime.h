#pragma once

#include <cstddef>
#include <string_view>

namespace zqm {

/// Whether two texts are the same, in a time that tells nothing about where two of the same length differ.
inline bool equalInConstantTime(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    volatile unsigned char difference = 0;
    for (std::size_t i = 0; i < a.size(); ++i) difference = difference | static_cast<unsigned char>(a[i] ^ b[i]);
    return difference == 0;
}

}  // namespace zqm
