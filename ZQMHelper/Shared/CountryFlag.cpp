#include "ZQMHelper/Shared/CountryFlag.h"

#include <algorithm>
#include <array>

namespace zqm {
namespace {

constexpr std::array<std::string_view, 44> knownCodes{"CN", "HK", "TW", "MO", "US", "CA", "GB", "JP", "KR", "DE", "FR",
                                                      "IT", "ES", "NL", "CH", "SE", "NO", "FI", "DK", "AU", "NZ", "SG",
                                                      "IN", "BR", "RU", "MX", "AR", "ZA", "AE", "IL", "TR", "TH", "VN",
                                                      "MY", "ID", "PH", "PT", "AT", "BE", "IE", "PL", "GR", "CZ", "HU"};
constexpr std::string_view globe = "\U0001F310";

char upperCase(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

}  // namespace

std::string flag(std::string_view countryCode) {
    std::string code(countryCode);
    std::transform(code.begin(), code.end(), code.begin(), upperCase);
    if (std::find(knownCodes.begin(), knownCodes.end(), code) == knownCodes.end()) return std::string(globe);
    std::string characters;
    for (char letter : code) {
        characters += "\xF0\x9F\x87";  // U+1F1E6 and what follows it, for A and the letters after it
        characters += static_cast<char>(0xA6 + (letter - 'A'));
    }
    return characters;
}

}  // namespace zqm
