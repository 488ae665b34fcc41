#pragma once

#include <string>
#include <string_view>

/// Figures as people read them, the same wherever the programs write one. A number that is not finite reads as 0.
namespace zqm {

std::string fixedText(double value, int decimals, std::string_view unit);  // "12.5 %"
std::string bytesText(double bytes);          // "15.9 GiB", powers of 1024, three significant digits
std::string rateText(double bytesPerSecond);  // "1.24 MB/s", powers of 1000 as networks and drives are sold, likewise
std::string wattsText(double watts);          // "9.87 W", "12.5 W"

}  // namespace zqm
