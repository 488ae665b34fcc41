#include "Platform/Posix/ConvertedDefaults.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "Support/Number.h"
#include "Support/Saturated.h"

namespace zqm {
namespace {

using Json = nlohmann::ordered_json;

bool isSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

std::string_view withoutLeadingSpace(std::string_view text) {
    const auto first = std::find_if_not(text.begin(), text.end(), isSpace);
    return text.substr(static_cast<std::size_t>(first - text.begin()));
}

/// What may be a number at the front of `text`: without white space and a plus sign, empty unless a digit or a decimal
/// point follows the sign ("inf" and "nan" are no numbers here).
std::string_view numberPrefix(std::string_view text) {
    text = withoutLeadingSpace(text);
    const bool negative = text.starts_with('-');
    const auto digits = text.substr(negative || text.starts_with('+') ? 1 : 0);
    if (digits.empty() || !(isDigit(digits.front()) || digits.front() == '.')) return {};
    return negative ? text : digits;
}

double doublePrefix(std::string_view text) {
    return finite(leadingNumber(numberPrefix(text)).value);
}

std::int64_t integerPrefix(std::string_view text) {
    using Limits = std::numeric_limits<std::int64_t>;
    const auto number = numberPrefix(text);
    std::int64_t value = 0;
    const auto result = std::from_chars(number.data(), number.data() + number.size(), value);
    if (result.ec != std::errc::result_out_of_range) return value;
    return number.front() == '-' ? Limits::min() : Limits::max();
}

/// True for a text that begins, after white space, a sign and zeros, with a letter of "yes" or "true" or with a digit.
bool meansTrue(std::string_view text) {
    text = withoutLeadingSpace(text);
    if (text.starts_with('-') || text.starts_with('+')) text.remove_prefix(1);
    const auto decisive = text.find_first_not_of('0');
    return decisive != std::string_view::npos && std::string_view("YyTt123456789").find(text[decisive]) != text.npos;
}

/// The fewest of 15 to 17 digits that read back to the same number: "3", "0.1", "1e+20".
std::string numberText(double value) {
    std::array<char, 32> buffer;
    for (int digits = 15;; ++digits) {
        const auto end =
            std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, std::chars_format::general, digits).ptr;
        std::string text(buffer.data(), end);
        if (leadingNumber(text).value == value || digits == 17) return text;
    }
}

}  // namespace

double finite(double value) {
    constexpr double largest = std::numeric_limits<double>::max();
    return std::isnan(value) ? 0 : std::clamp(value, -largest, largest);
}

double ConvertedDefaults::doubleForKey(std::string_view key) {
    const auto& value = valueFor(key);
    if (value.is_boolean()) return value.get<bool>() ? 1 : 0;
    if (value.is_number()) return finite(value.get<double>());
    return value.is_string() ? doublePrefix(value.get_ref<const std::string&>()) : 0;
}

std::int64_t ConvertedDefaults::integerForKey(std::string_view key) {
    const auto& value = valueFor(key);
    if (value.is_boolean()) return value.get<bool>() ? 1 : 0;
    if (value.is_number_unsigned()) {
        constexpr std::uint64_t largest = std::numeric_limits<std::int64_t>::max();
        return static_cast<std::int64_t>(std::min(value.get<std::uint64_t>(), largest));
    }
    if (value.is_number_integer()) return value.get<std::int64_t>();
    if (value.is_number()) return integerSaturated(value.get<double>());
    return value.is_string() ? integerPrefix(value.get_ref<const std::string&>()) : 0;
}

bool ConvertedDefaults::boolForKey(std::string_view key) {
    const auto& value = valueFor(key);
    if (value.is_boolean()) return value.get<bool>();
    if (value.is_number()) return value.get<double>() != 0;
    return value.is_string() && meansTrue(value.get_ref<const std::string&>());
}

bool ConvertedDefaults::hasObjectForKey(std::string_view key) {
    return !valueFor(key).is_null();
}

std::optional<std::string> ConvertedDefaults::stringForKey(std::string_view key) {
    const auto& value = valueFor(key);
    if (value.is_string()) return value.get<std::string>();
    if (value.is_boolean()) return value.get<bool>() ? "1" : "0";
    if (value.is_number_integer()) return value.dump();
    if (value.is_number()) return numberText(value.get<double>());
    return std::nullopt;
}

std::optional<std::vector<std::string>> ConvertedDefaults::stringArrayForKey(std::string_view key) {
    const auto& value = valueFor(key);
    const bool texts =
        value.is_array() && std::all_of(value.begin(), value.end(), [](const Json& item) { return item.is_string(); });
    return texts ? std::optional(value.get<std::vector<std::string>>()) : std::nullopt;
}

void ConvertedDefaults::setDouble(double value, std::string_view key) {
    store(key, value);
}

}  // namespace zqm
