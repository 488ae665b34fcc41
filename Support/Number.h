#pragma once

#include <cstddef>
#include <string_view>

namespace zqm {

/// The decimal number at the front of a text, for which Apple's library has no std::from_chars.
struct LeadingNumber {
    double value = 0;        // nearest to what is written: infinite when that is too large, 0 when it is too small
    std::size_t length = 0;  // bytes of it; 0: there is none
    bool isZero = true;      // no digit but 0 is written
};

/// An optional minus sign, digits with at most one decimal point, and an exponent when it is complete; no white space,
/// plus sign, "inf" or "nan". Any thread, as long as the process keeps the "C" locale for numbers.
LeadingNumber leadingNumber(std::string_view text);

}  // namespace zqm
