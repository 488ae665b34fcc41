#include "Support/Decimal.h"

#include <array>
#include <charconv>
#include <cmath>
#include <string_view>

namespace zqm {

void appendDecimal(std::string& out, double value) {
    std::array<char, 32> buffer;
    const double size = std::abs(value);
    const bool isPlain = size == 0 || (size >= 1e-4 && size < 1e16);
    const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                   isPlain ? std::chars_format::fixed : std::chars_format::scientific)
                         .ptr;
    const std::string_view digits(buffer.data(), static_cast<std::size_t>(end - buffer.data()));
    out += digits;
    if (isPlain && digits.find('.') == std::string_view::npos) out += ".0";
}

}  // namespace zqm
