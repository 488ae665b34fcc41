#pragma once

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace zqm {

/// `text` decoded as UTF-8 with U+FFFD for each maximal malformed piece, straight from Unicode's table of well-formed
/// sequences: the oracle for what the program does with ranges computed.
inline std::string decodedModel(std::string_view text) {
    struct Range {
        unsigned first, last;
    };
    static const std::vector<std::vector<Range>> wellFormed{
        {{0xC2, 0xDF}, {0x80, 0xBF}},
        {{0xE0, 0xE0}, {0xA0, 0xBF}, {0x80, 0xBF}},
        {{0xE1, 0xEC}, {0x80, 0xBF}, {0x80, 0xBF}},
        {{0xED, 0xED}, {0x80, 0x9F}, {0x80, 0xBF}},
        {{0xEE, 0xEF}, {0x80, 0xBF}, {0x80, 0xBF}},
        {{0xF0, 0xF0}, {0x90, 0xBF}, {0x80, 0xBF}, {0x80, 0xBF}},
        {{0xF1, 0xF3}, {0x80, 0xBF}, {0x80, 0xBF}, {0x80, 0xBF}},
        {{0xF4, 0xF4}, {0x80, 0x8F}, {0x80, 0xBF}, {0x80, 0xBF}},
    };
    std::string decoded;
    while (!text.empty()) {
        if (static_cast<unsigned char>(text.front()) < 0x80) {
            decoded += text.front();
            text.remove_prefix(1);
            continue;
        }
        std::size_t longest = 0;
        bool isWhole = false;
        for (const auto& row : wellFormed) {
            std::size_t matched = 0;
            while (matched < std::min(row.size(), text.size()) &&
                   static_cast<unsigned char>(text[matched]) >= row[matched].first &&
                   static_cast<unsigned char>(text[matched]) <= row[matched].last) {
                ++matched;
            }
            if (matched <= longest) continue;
            longest = matched;
            isWhole = matched == row.size();
        }
        decoded += isWhole ? text.substr(0, longest) : "\uFFFD";
        text.remove_prefix(std::max<std::size_t>(longest, 1));
    }
    return decoded;
}

}  // namespace zqm
