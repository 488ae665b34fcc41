#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Text without locale: bytes in, bytes out. Every function is pure and callable from any thread.
namespace zqm {

/// Whether `text` is well-formed UTF-8 (no overlong forms, no surrogates, nothing above U+10FFFF).
bool isValidUtf8(std::string_view text);

/// `text` with each malformed sequence replaced by U+FFFD, one replacement per maximal malformed prefix.
std::string repairUtf8(std::string_view text);

/// Without the white space and line breaks at both ends, those of Unicode included.
std::string_view trimWhitespace(std::string_view text);

/// Without the ASCII control characters (a NUL terminator among them) at both ends.
std::string_view trimControlCharacters(std::string_view text);

/// The text up to the first `separator`, which is removed from `rest` with it; all of `rest` when there is none.
std::string_view takeUntil(std::string_view& rest, char separator);

/// The next word of `rest`, words being separated by runs of spaces and tabs; empty at the end.
std::string_view takeWord(std::string_view& rest);

/// The whole text as a decimal integer: an optional sign and digits, nothing else. nullopt when it is not one or does
/// not fit.
std::optional<std::int64_t> parseInteger(std::string_view text);
std::optional<std::uint64_t> parseUnsigned(std::string_view text);

/// The whole text as a finite decimal number; nullopt when it is not one, is too large, or too small to differ from 0.
std::optional<double> parseDouble(std::string_view text);

}  // namespace zqm
