#include "Support/Number.h"

#include <cstdlib>
#include <string>

namespace zqm {
namespace {

std::size_t digitsAt(std::string_view text, std::size_t begin) {
    std::size_t end = begin;
    while (end < text.size() && text[end] >= '0' && text[end] <= '9') ++end;
    return end - begin;
}

}  // namespace

LeadingNumber leadingNumber(std::string_view text) {
    const std::size_t begin = text.starts_with('-') ? 1 : 0;
    std::size_t end = begin + digitsAt(text, begin);
    std::size_t digits = end - begin;
    if (end < text.size() && text[end] == '.') {
        const std::size_t fraction = digitsAt(text, end + 1);
        digits += fraction;
        end += 1 + fraction;
    }
    if (digits == 0) return {};
    const bool isZero = text.substr(0, end).find_first_of("123456789") == std::string_view::npos;
    if (end < text.size() && (text[end] == 'e' || text[end] == 'E')) {
        const bool isSigned = end + 1 < text.size() && (text[end + 1] == '-' || text[end + 1] == '+');
        const std::size_t exponent = end + (isSigned ? 2 : 1);
        if (const std::size_t count = digitsAt(text, exponent)) end = exponent + count;
    }
    const std::string number(text.substr(0, end));  // ends where strtod is to end
    return {std::strtod(number.c_str(), nullptr), end, isZero};
}

}  // namespace zqm
