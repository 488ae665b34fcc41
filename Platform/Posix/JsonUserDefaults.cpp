#include "Platform/Posix/JsonUserDefaults.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <utility>

#include "Platform/Posix/ObjectText.h"
#include "Platform/Posix/UserDirectories.h"
#include "Platform/Process/Files.h"
#include "Support/Number.h"
#include "Support/Saturated.h"
#include "Support/Text.h"

namespace zqm {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t mostProblems = 8;
constexpr std::size_t longestName = 80;  // bytes of a key that are told

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

double finite(double value) {
    constexpr double largest = std::numeric_limits<double>::max();
    return std::isnan(value) ? 0 : std::clamp(value, -largest, largest);
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
        const std::string text(buffer.data(), end);
        if (leadingNumber(text).value == value || digits == 17) return text;
    }
}

Json jsonOf(const DefaultsValue& value) {
    if (const auto* number = std::get_if<double>(&value)) return finite(*number);
    return std::visit([](const auto& plain) { return Json(plain); }, value);
}

}  // namespace

struct JsonUserDefaults::Values {
    struct Value {
        Json json;           // null when it cannot be read
        std::string source;  // its text in the file
    };
    std::map<std::string, Value, std::less<>> byKey;

    /// The value under a key; null when there is none.
    const Json& at(std::string_view key) const {
        static const Json absent;
        const auto found = byKey.find(key);
        return found == byKey.end() ? absent : found->second.json;
    }

    /// Takes the member, or returns why it cannot.
    std::optional<std::string> take(const ObjectText& object, const ObjectText::Member& member) {
        if (!member.key) return "this is no member of an object";
        Value& value = byKey[*member.key];
        value = {nullptr, std::string(object.valueOf(member))};
        const auto name = repairUtf8(Json(*member.key).dump().substr(0, longestName));
        if (member.isDeep) return name + " is nested too deeply";
        try {
            value.json = Json::parse(value.source);
        } catch (const Json::out_of_range&) {
            return name + " is a number that is too large";
        } catch (const Json::exception&) {
            return name + " is not JSON";
        }
        return std::nullopt;
    }
};

JsonUserDefaults::JsonUserDefaults(Files& files, std::string file)
    : files_(files), file_(std::move(file)), values_(std::make_unique<Values>()) {
    files_.removeLeftovers(file_);
    const auto content = files_.read(file_);
    if (!content.text) {
        if (!content.isMissing) problems_.push_back(content.problem + "; no preferences are used");
        return;
    }
    const ObjectText object(*content.text);
    if (object.fault()) problems_.push_back(file_ + ": " + *object.fault());
    std::size_t untold = 0;
    for (const auto& member : object.members()) {
        const auto problem = values_->take(object, member);
        if (!problem) continue;
        if (problems_.size() == mostProblems) {
            ++untold;
            continue;
        }
        problems_.push_back(file_ + ": " + object.place(member.begin) + ": " + *problem + "; it is not used");
    }
    if (untold > 0) problems_.push_back(file_ + ": " + std::to_string(untold) + " more that cannot be used");
}

JsonUserDefaults::~JsonUserDefaults() = default;

double JsonUserDefaults::doubleForKey(std::string_view key) {
    const auto& value = values_->at(key);
    if (value.is_boolean()) return value.get<bool>() ? 1 : 0;
    if (value.is_number()) return finite(value.get<double>());
    return value.is_string() ? doublePrefix(value.get_ref<const std::string&>()) : 0;
}

std::int64_t JsonUserDefaults::integerForKey(std::string_view key) {
    const auto& value = values_->at(key);
    if (value.is_boolean()) return value.get<bool>() ? 1 : 0;
    if (value.is_number_unsigned()) {
        constexpr std::uint64_t largest = std::numeric_limits<std::int64_t>::max();
        return static_cast<std::int64_t>(std::min(value.get<std::uint64_t>(), largest));
    }
    if (value.is_number_integer()) return value.get<std::int64_t>();
    if (value.is_number()) return integerSaturated(value.get<double>());
    return value.is_string() ? integerPrefix(value.get_ref<const std::string&>()) : 0;
}

bool JsonUserDefaults::boolForKey(std::string_view key) {
    const auto& value = values_->at(key);
    if (value.is_boolean()) return value.get<bool>();
    if (value.is_number()) return value.get<double>() != 0;
    return value.is_string() && meansTrue(value.get_ref<const std::string&>());
}

bool JsonUserDefaults::hasObjectForKey(std::string_view key) {
    return !values_->at(key).is_null();
}

std::optional<std::string> JsonUserDefaults::stringForKey(std::string_view key) {
    const auto& value = values_->at(key);
    if (value.is_string()) return value.get<std::string>();
    if (value.is_boolean()) return value.get<bool>() ? "1" : "0";
    if (value.is_number_integer()) return value.dump();
    if (value.is_number()) return numberText(value.get<double>());
    return std::nullopt;
}

std::optional<std::vector<std::string>> JsonUserDefaults::stringArrayForKey(std::string_view key) {
    const auto& value = values_->at(key);
    const bool texts =
        value.is_array() && std::all_of(value.begin(), value.end(), [](const Json& item) { return item.is_string(); });
    return texts ? std::optional(value.get<std::vector<std::string>>()) : std::nullopt;
}

std::optional<std::string> JsonUserDefaults::sourceForKey(std::string_view key) {
    const auto found = values_->byKey.find(key);
    if (found == values_->byKey.end() || found->second.source == "null") return std::nullopt;
    return found->second.source;
}

void JsonUserDefaults::setDouble(double value, std::string_view key) {
    store(key, value);
}

std::optional<std::string> JsonUserDefaults::store(std::string_view key, const std::optional<DefaultsValue>& value) {
    const Json json = value ? jsonOf(*value) : Json();
    const auto source = value ? std::optional(json.dump()) : std::nullopt;
    values_->byKey[std::string(key)] = {json, json.dump()};
    if (file_.empty()) return "there is no home directory to keep them in";
    const std::string directory = std::filesystem::path(file_).parent_path();
    auto problem = makePrivateDirectory(directory);
    if (problem) return problem;
    files_.exclusively(directory, [&](bool isAlone) {
        problem = isAlone ? storeAlone(key, source) : file_ + ": another program does not cease to change it";
    });
    return problem;
}

/// Writes the member into the file as it is now, so that what others have changed since stays.
std::optional<std::string> JsonUserDefaults::storeAlone(std::string_view key,
                                                        const std::optional<std::string>& source) {
    const auto content = files_.read(file_);
    if (!content.text && !content.isMissing) return content.problem;
    const ObjectText object(content.text.value_or(""));
    if (object.fault()) return file_ + ": " + *object.fault() + "; mend it by hand, or move it away";
    return files_.update(file_, object.with(key, source));
}

std::string JsonUserDefaults::standardFile() {
    const auto directory = userDirectory("XDG_CONFIG_HOME", ".config");
    return directory ? pathBelow(*directory, "ZQMHelper/defaults.json") : std::string();
}

}  // namespace zqm
