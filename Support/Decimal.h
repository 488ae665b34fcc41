#pragma once

#include <string>

namespace zqm {

/// Appends the shortest decimal text that reads back to the same finite double, always with a fraction or an exponent:
/// 23.5, 3.0; plain from 1e-4 up to below 1e16, else with an exponent: 1e-05, 1e+16.
void appendDecimal(std::string& out, double value);

}  // namespace zqm
