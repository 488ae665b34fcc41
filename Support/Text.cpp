#include "Support/Text.h"

#include <array>
#include <charconv>
#include <cmath>

#include "Support/Number.h"

namespace zqm {
namespace {

constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD";

/// Length of the well-formed sequence at the front of `text`, or 0; `malformed` is then the length of the maximal
/// prefix that one replacement character stands for.
std::size_t sequenceLength(std::string_view text, std::size_t& malformed) {
    auto byte = [&](std::size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u; };
    const unsigned lead = byte(0);
    malformed = 1;
    if (lead < 0x80) return 1;
    if (lead < 0xC2 || lead > 0xF4) return 0;
    const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    // The second byte alone excludes overlong forms, surrogates and code points past U+10FFFF.
    const unsigned low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    const unsigned high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    if (byte(1) < low || byte(1) > high) return 0;
    for (std::size_t i = 2; i < length; ++i) {
        malformed = i;
        if (byte(i) < 0x80 || byte(i) > 0xBF) return 0;
    }
    return length;
}

/// Length of the white-space character at the front (or, with `atEnd`, the end) of `text`; 0 when there is none.
std::size_t whitespaceLength(std::string_view text, bool atEnd) {
    static constexpr std::array<std::string_view, 25> characters{" ",
                                                                 "\t",
                                                                 "\n",
                                                                 "\v",
                                                                 "\f",
                                                                 "\r",
                                                                 "\xC2\x85",
                                                                 "\xC2\xA0",
                                                                 "\xE1\x9A\x80",
                                                                 "\xE2\x80\x80",
                                                                 "\xE2\x80\x81",
                                                                 "\xE2\x80\x82",
                                                                 "\xE2\x80\x83",
                                                                 "\xE2\x80\x84",
                                                                 "\xE2\x80\x85",
                                                                 "\xE2\x80\x86",
                                                                 "\xE2\x80\x87",
                                                                 "\xE2\x80\x88",
                                                                 "\xE2\x80\x89",
                                                                 "\xE2\x80\x8A",
                                                                 "\xE2\x80\xA8",
                                                                 "\xE2\x80\xA9",
                                                                 "\xE2\x80\xAF",
                                                                 "\xE2\x81\x9F",
                                                                 "\xE3\x80\x80"};
    for (std::string_view character : characters) {
        if (atEnd ? text.ends_with(character) : text.starts_with(character)) return character.size();
    }
    return 0;
}

bool isControl(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
}

/// An explicit plus sign is accepted, as the platform's own conversions do; nullopt for one before another sign.
std::optional<std::string_view> withoutPlus(std::string_view text) {
    if (!text.starts_with('+')) return text;
    return text.substr(1).starts_with('-') ? std::nullopt : std::optional(text.substr(1));
}

template <class Number>
std::optional<Number> parseWhole(std::string_view given) {
    const auto text = withoutPlus(given).value_or("");
    Number value{};
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return value;
}

}  // namespace

bool isValidUtf8(std::string_view text) {
    std::size_t malformed = 0;
    while (!text.empty()) {
        const std::size_t length = sequenceLength(text, malformed);
        if (length == 0) return false;
        text.remove_prefix(length);
    }
    return true;
}

std::string repairUtf8(std::string_view text) {
    std::string repaired;
    repaired.reserve(text.size());
    while (!text.empty()) {
        std::size_t malformed = 0;
        const std::size_t length = sequenceLength(text, malformed);
        repaired += length > 0 ? text.substr(0, length) : replacementCharacter;
        text.remove_prefix(length > 0 ? length : malformed);
    }
    return repaired;
}

std::string_view trimWhitespace(std::string_view text) {
    while (std::size_t length = whitespaceLength(text, false)) text.remove_prefix(length);
    while (std::size_t length = whitespaceLength(text, true)) text.remove_suffix(length);
    return text;
}

std::string_view trimControlCharacters(std::string_view text) {
    while (!text.empty() && isControl(text.front())) text.remove_prefix(1);
    while (!text.empty() && isControl(text.back())) text.remove_suffix(1);
    return text;
}

std::string_view takeUntil(std::string_view& rest, char separator) {
    const std::size_t end = rest.find(separator);
    const std::string_view taken = rest.substr(0, end);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    return taken;
}

std::string_view takeWord(std::string_view& rest) {
    const auto isBlank = [](char c) { return c == ' ' || c == '\t'; };
    const char* begin = rest.data();
    const char* const end = begin + rest.size();
    while (begin != end && isBlank(*begin)) ++begin;
    const char* after = begin;
    while (after != end && !isBlank(*after)) ++after;
    rest = {after, static_cast<std::size_t>(end - after)};
    return {begin, static_cast<std::size_t>(after - begin)};
}

std::optional<std::int64_t> parseInteger(std::string_view text) {
    return parseWhole<std::int64_t>(text);
}
std::optional<std::uint64_t> parseUnsigned(std::string_view text) {
    return parseWhole<std::uint64_t>(text);
}

std::optional<double> parseDouble(std::string_view text) {
    const auto number = withoutPlus(text).value_or("");
    const auto [value, length, isZero] = leadingNumber(number);
    if (length == 0 || length < number.size() || !std::isfinite(value)) return std::nullopt;
    return value != 0 || isZero ? std::optional(value) : std::nullopt;
}

}  // namespace zqm
