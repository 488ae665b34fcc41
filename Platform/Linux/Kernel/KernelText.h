#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

/// The shapes that the kernel's text files have in common.
namespace zqm {

/// Without the white space and control characters of ASCII at both ends: a line feed, the padding of firmware.
std::string_view trimBlanks(std::string_view text);

/// The next line of `rest`, without its line feed; nullopt at the end. A last line without a line feed may have been
/// cut and is given without its last word: a number cut short is a wrong number.
std::optional<std::string_view> takeLine(std::string_view& rest);

/// The next word of `line` (see takeWord) as a count; nullopt when it is anything but digits or does not fit.
std::optional<std::uint64_t> takeCount(std::string_view& line);

/// The same with hexadecimal digits, as the tables of /proc/net have them.
std::optional<std::uint64_t> takeHexadecimal(std::string_view& line);

/// Takes `fields` words off the front of `line`.
void skipFields(std::string_view& line, unsigned fields);

/// The numbers of a list such as "0-3,8", ascending; numbers from `limit` on and malformed pieces are left out.
std::vector<unsigned> parseNumberList(std::string_view text, unsigned limit);

}  // namespace zqm
