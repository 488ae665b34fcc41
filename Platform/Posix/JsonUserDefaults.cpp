#include "Platform/Posix/JsonUserDefaults.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <nlohmann/json.hpp>
#include <utility>

#include "Platform/Posix/Problem.h"
#include "Platform/Posix/UserDirectories.h"
#include "Platform/Process/Files.h"
#include "Support/Saturated.h"

namespace zqm {
namespace {

using Json = nlohmann::ordered_json;  // keys keep the order in which the user wrote them

constexpr int deepestNesting = 64;

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

/// Whether a number that does not fit a double is too large (not too small): its exponent, explicit and of its digits.
bool isHuge(std::string_view number) {
    const auto exponent = number.find_first_of("eE");
    if (exponent != std::string_view::npos && exponent + 1 < number.size()) return number[exponent + 1] != '-';
    return std::any_of(number.begin(), std::find(number.begin(), number.end(), '.'), [](char c) { return c > '0'; });
}

double doublePrefix(std::string_view text) {
    const auto number = numberPrefix(text);
    double value = 0;
    const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), value);
    if (error != std::errc::result_out_of_range) return value;
    if (!isHuge(number.substr(0, static_cast<std::size_t>(end - number.data())))) return 0;
    return finite(number.front() == '-' ? -HUGE_VAL : HUGE_VAL);
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
        double back = 0;
        std::from_chars(buffer.data(), end, back);
        if (back == value || digits == 17) return {buffer.data(), end};
    }
}

/// The object that `text` holds; nullopt when it holds none, or one nested so deeply that nobody means it.
std::optional<Json> parseObject(std::string_view text) {
    bool tooDeep = false;
    const auto watch = [&](int depth, Json::parse_event_t, Json&) {
        tooDeep |= depth > deepestNesting;
        return true;
    };
    auto json = Json::parse(text.begin(), text.end(), watch, false);
    if (tooDeep || !json.is_object()) return std::nullopt;
    return json;
}

/// Sets the member, or removes it when there is no value.
void put(Json& object, std::string_view key, const std::optional<DefaultsValue>& value) {
    if (!value) {
        object.erase(std::string(key));
    } else if (const auto* number = std::get_if<double>(&*value)) {
        object[std::string(key)] = finite(*number);
    } else {
        std::visit([&](const auto& plain) { object[std::string(key)] = plain; }, *value);
    }
}

}  // namespace

struct JsonUserDefaults::Values {
    Json object = Json::object();

    /// The value under a key; null when there is none.
    const Json& at(std::string_view key) const {
        static const Json absent;
        const auto found = object.find(std::string(key));
        return found == object.end() ? absent : *found;
    }
};

JsonUserDefaults::JsonUserDefaults(Files& files, std::string file)
    : files_(files), file_(std::move(file)), values_(std::make_unique<Values>()) {
    const auto text = files_.read(file_);
    if (!text) return;
    if (auto object = parseObject(*text)) {
        values_->object = std::move(*object);
    } else {
        std::fprintf(stderr, "[ZQMHelper] %s is not a JSON object; its preferences are not used\n", file_.c_str());
    }
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

void JsonUserDefaults::setDouble(double value, std::string_view key) {
    store(key, value);
}

std::optional<std::string> JsonUserDefaults::store(std::string_view key, const std::optional<DefaultsValue>& value) {
    put(values_->object, key, value);
    if (file_.empty()) return "there is no home directory to keep them in";
    const std::string directory = std::filesystem::path(file_).parent_path();
    auto problem = makePrivateDirectory(directory);
    if (problem) return problem;
    files_.exclusively(directory, [&] {
        const auto text = files_.read(file_);
        auto object = text ? parseObject(*text) : std::nullopt;
        if (!object) problem = keepAside();
        if (problem) return;
        if (!object) object = Json::object();
        put(*object, key, value);
        problem = files_.replace(file_, object->dump(2) + "\n");
    });
    return problem;
}

/// Moves a file that holds no preferences out of the way.
std::optional<std::string> JsonUserDefaults::keepAside() const {
    if (::rename(file_.c_str(), (file_ + ".invalid").c_str()) == 0 || errno == ENOENT) return std::nullopt;
    return problemWith(file_, errno);
}

std::string JsonUserDefaults::standardFile() {
    const auto directory = userDirectory("XDG_CONFIG_HOME", ".config");
    return directory ? pathBelow(*directory, "ZQMHelper/defaults.json") : std::string();
}

}  // namespace zqm
