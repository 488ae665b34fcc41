#include "Client/Defaults.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <vector>

#include "Client/Terminal.h"
#include "Support/Text.h"

namespace zqm {
namespace {

using Parsed = std::optional<DefaultsValue>;

Parsed positive(std::string_view text) {
    const auto number = parseDouble(text);
    return number && *number > 0 ? Parsed(*number) : std::nullopt;
}

Parsed upToTen(std::string_view text) {
    const auto number = parseInteger(text);
    return number && *number >= 1 && *number <= 10 ? Parsed(*number) : std::nullopt;
}

Parsed flag(std::string_view text) {
    return text == "true" || text == "false" ? Parsed(text == "true") : std::nullopt;
}

template <class Enum>
Parsed choice(std::string_view text) {
    return fromRawValue<Enum>(text) ? Parsed(std::string(text)) : std::nullopt;
}

Parsed metrics(std::string_view text) {
    std::vector<std::string> names;
    while (!text.empty()) {
        const auto name = trimWhitespace(takeUntil(text, ','));
        if (!fromRawValue<MenuBarMetric>(name)) return std::nullopt;
        names.emplace_back(name);
    }
    return names;
}

std::string textOf(double value) {
    std::array<char, 32> text;
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), value).ptr};
}

std::string textOf(std::int64_t value) {
    return std::to_string(value);
}

std::string textOf(bool value) {
    return value ? "true" : "false";
}

template <class Enum>
requires std::is_enum_v<Enum> std::string textOf(Enum value) {
    return std::string(rawValue(value));
}

template <class List>
requires std::is_same_v<typename List::value_type, MenuBarMetric> std::string textOf(const List& list) {
    std::string text;
    for (const MenuBarMetric metric : list) {
        if (!text.empty()) text += ',';
        text += rawValue(metric);
    }
    return text;
}

template <auto property>
std::string effective(const SettingsStore& settings) {
    return textOf((settings.*property)());
}

constexpr std::size_t mostStored = 60;  // columns of a stored value that is not allowed

constexpr std::string_view metricNames =
    "names, separated by commas, of loadIndex, cpuUsage, cpuFreq, gpuUsage, gpuFreq, memoryUsage, network, disk, "
    "power, "
    "clock and battery";

struct Preference {
    std::string_view key;
    Parsed (*parse)(std::string_view);
    std::string_view rule;  // what `parse` takes, for a person
    std::string (*effective)(const SettingsStore&);
};
using Store = SettingsStore;
constexpr std::array preferences{
    Preference{"updateInterval", positive, "a number of seconds greater than 0", effective<&Store::updateInterval>},
    Preference{"metricOrder", metrics, metricNames, effective<&Store::metricOrder>},
    Preference{"enabledMetrics", metrics, metricNames, effective<&Store::enabledMetrics>},
    Preference{"use24Hour", flag, "true or false", effective<&Store::use24Hour>},
    Preference{"freqUnit", choice<FreqUnit>, "ghz or mhz", effective<&Store::freqUnit>},
    Preference{"tempUnit", choice<TempUnit>, "celsius, fahrenheit or kelvin", effective<&Store::tempUnit>},
    Preference{"iconTextGap", positive, "a number of points greater than 0", effective<&Store::iconTextGap>},
    Preference{"segmentGap", positive, "a number of points greater than 0", effective<&Store::segmentGap>},
    Preference{"topProcessCount", upToTen, "a whole number from 1 to 10", effective<&Store::topProcessCount>},
    Preference{"showProcessSidebar", flag, "true or false", effective<&Store::showProcessSidebar>},
    Preference{"language", choice<AppLanguage>, "zh or en", effective<&Store::language>}};

const Preference* find(std::string_view key) {
    const auto found = std::find_if(preferences.begin(), preferences.end(), [&](auto& one) { return one.key == key; });
    return found == preferences.end() ? nullptr : found;
}

/// The stored value as `parsePreference` would be given it.
std::string storedText(UserDefaults& defaults, std::string_view key, const std::string& source) {
    if (const auto list = defaults.stringArrayForKey(key)) {
        std::string text;
        for (const std::string& item : *list) text += (text.empty() ? "" : ",") + item;
        return text;
    }
    return source.starts_with('"') ? defaults.stringForKey(key).value_or(source) : source;
}

/// Whether what is stored could have been written as it is; otherwise something else may be in effect.
bool isAllowed(const Preference& preference, UserDefaults& defaults, const std::string& source) {
    const auto value = preference.parse(storedText(defaults, preference.key, source));
    const bool takesList = value && std::holds_alternative<std::vector<std::string>>(*value);
    return value && takesList == defaults.stringArrayForKey(preference.key).has_value();
}

}  // namespace

std::string preferencesText(const SettingsStore& settings, UserDefaults& defaults) {
    std::string text;
    bool isAnyStored = false;
    bool isAnyOdd = false;
    for (const Preference& preference : preferences) {
        const auto source = defaults.sourceForKey(preference.key);
        const bool isOdd = source && !isAllowed(preference, defaults, *source);
        isAnyStored |= source.has_value();
        isAnyOdd |= isOdd;
        text += isOdd ? "! " : source ? "* " : "  ";
        text += fitted(preference.key, 20) + preference.effective(settings);
        if (isOdd) text += "  (stored: " + fitted(printable(*source), std::min(columnsOf(*source), mostStored)) + ')';
        text += '\n';
    }
    if (isAnyStored) text += "* is stored; the others have their defaults\n";
    return isAnyOdd ? text + "! is stored, but not as a value that it takes; what is in effect stands first\n" : text;
}

std::optional<std::string> preferenceText(const SettingsStore& settings, std::string_view key) {
    const Preference* preference = find(key);
    return preference ? std::optional(preference->effective(settings)) : std::nullopt;
}

std::variant<DefaultsValue, PreferenceError> parsePreference(std::string_view key, std::string_view text) {
    const Preference* preference = find(key);
    if (!preference) return PreferenceError{unknownPreference(key)};
    if (auto value = preference->parse(text)) return std::move(*value);
    std::string message(key);
    message += " takes ";
    message += preference->rule;
    message += ", not \"";
    message += text;
    return PreferenceError{message + '"'};
}

std::string unknownPreference(std::string_view key) {
    std::string message = "there is no preference \"";
    message += key;
    message += "\"; there are";
    for (const Preference& preference : preferences) {
        message += &preference == preferences.begin() ? " " : ", ";
        message += preference.key;
    }
    return message;
}

}  // namespace zqm
