#pragma once

#include <string>
#include <string_view>

namespace zqm {

/// The flag of a two-letter country code in either case, as regional-indicator characters; a globe for any code that is
/// not among the known ones.
std::string flag(std::string_view countryCode);

}  // namespace zqm
