#include "Client/Defaults.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <vector>

#include "Client/Nearest.h"
#include "Client/Terminal.h"
#include "Client/Texts.h"
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
    "loadIndex,cpuUsage,cpuFreq,gpuUsage,gpuFreq,memoryUsage,network,disk,power,clock,battery";

struct Preference {
    std::string_view key;
    Parsed (*parse)(std::string_view);
    Phrase rule;               // what `parse` takes, "{}" for `choices`
    std::string_view choices;  // separated by commas; empty: a number
    std::string (*effective)(const SettingsStore&);
    std::string_view help;
};
using Store = SettingsStore;
constexpr std::array preferences{
    Preference{"updateInterval", positive, "a number of seconds greater than 0", "", effective<&Store::updateInterval>,
               "seconds between two samples (1); the helper's, and the pace of bar --follow, watch and exporter"},
    Preference{"metricOrder", metrics, "names, separated by commas, of {}", metricNames, effective<&Store::metricOrder>,
               "what stands first in a bar; what is left out follows in the usual order"},
    Preference{"enabledMetrics", metrics, "names, separated by commas, of {}", metricNames,
               effective<&Store::enabledMetrics>, "what a bar shows (loadIndex,cpuUsage,network)"},
    Preference{"use24Hour", flag, "one of {}", "true,false", effective<&Store::use24Hour>,
               "21:04 (true) or 9:04 PM; in bar and watch"},
    Preference{"freqUnit", choice<FreqUnit>, "one of {}", "ghz,mhz", effective<&Store::freqUnit>,
               "of clock frequencies (ghz); in bar, status and watch"},
    Preference{"tempUnit", choice<TempUnit>, "one of {}", "celsius,fahrenheit,kelvin", effective<&Store::tempUnit>,
               "of temperatures (celsius); in bar, status and watch"},
    Preference{"iconTextGap", positive, "a number of points greater than 0", "", effective<&Store::iconTextGap>,
               "points between label and figure in a bar (3)"},
    Preference{"segmentGap", positive, "a number of points greater than 0", "", effective<&Store::segmentGap>,
               "points between two figures in a bar (6)"},
    Preference{"topProcessCount", upToTen, "a whole number from 1 to 10", "", effective<&Store::topProcessCount>,
               "rows of a list of processes: in the menu-bar program (5), and if stored in top and watch"},
    Preference{"showProcessSidebar", flag, "one of {}", "true,false", effective<&Store::showProcessSidebar>,
               "whether watch and the menu-bar program show lists of processes (true)"},
    Preference{"language", choice<AppLanguage>, "one of {}", "zh,en", effective<&Store::language>,
               "Chinese or English; without it zephlon goes by the locale, the helper takes zh"}};

const Preference* find(std::string_view key) {
    const auto found = std::find_if(preferences.begin(), preferences.end(), [&](auto& one) { return one.key == key; });
    return found == preferences.end() ? nullptr : found;
}

/// "zh, en" of "zh,en".
std::string spoken(std::string_view list) {
    std::string text;
    while (!list.empty()) text += (text.empty() ? "" : ", ") + std::string(takeUntil(list, ','));
    return text;
}

/// What it takes, for a person.
std::string ruleOf(const Preference& preference) {
    return filled(preference.rule.in(L10n::language), {spoken(preference.choices)});
}

/// The value in effect here: without one of the user's own the client's language is the locale's.
std::string effectiveText(const Preference& preference, const SettingsStore& settings) {
    return preference.key == "language" ? textOf(L10n::language) : preference.effective(settings);
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
    for (const Preference& preference : preferences) {
        const auto source = defaults.sourceForKey(preference.key);
        const bool isOdd = source && !isAllowed(preference, defaults, *source);
        isAnyStored |= source.has_value();
        text += isOdd ? "! " : source ? "* " : "  ";
        text += fitted(preference.key, 20) + effectiveText(preference, settings);
        if (isOdd) {
            const std::string stored = fitted(printable(*source), std::min(columnsOf(*source), mostStored));
            const bool takesMetrics = preference.choices == metricNames;
            const std::string rule = takesMetrics ? said("names of metrics") : ruleOf(preference);
            text += "  (" + said("stored: {}, but it takes {}", stored, rule) + ')';
        } else if (!source && preference.key == "language") {
            text += "  (" + said("of the locale; the helper takes {}", textOf(settings.language())) + ')';
        }
        text += '\n';
    }
    if (isAnyStored) text += said("* is stored; the others have their defaults") + '\n';
    const bool isAnyOdd = text.find("\n! ") != text.npos || text.starts_with('!');
    return isAnyOdd
               ? text + said("! is stored, but not as a value that it takes; what is in effect stands first") + '\n'
               : text;
}

bool isPreference(std::string_view key) {
    return find(key);
}

std::string preferencesHelp() {
    std::string text = "Keys:\n";
    for (const Preference& preference : preferences) {
        const std::string choices(preference.choices);
        text += "  " + std::string(preference.key) + ' ';
        text += choices.empty() ? "NUMBER" : (choices == metricNames ? "NAME[,NAME...]:{" : "{") + choices + '}';
        text += "\n        " + std::string(preference.help) + '\n';
    }
    return text;
}

std::string preferenceKeys() {
    std::string text;
    for (const Preference& preference : preferences) text += (text.empty() ? "" : ",") + std::string(preference.key);
    return text;
}

std::optional<std::string> preferenceText(const SettingsStore& settings, std::string_view key) {
    const Preference* preference = find(key);
    return preference ? std::optional(effectiveText(*preference, settings)) : std::nullopt;
}

std::variant<DefaultsValue, PreferenceError> parsePreference(std::string_view key, std::string_view text) {
    const Preference* preference = find(key);
    if (!preference) return PreferenceError{unknownPreference(key)};
    if (auto value = preference->parse(text)) return std::move(*value);
    return PreferenceError{said("{} takes {}, not \"{}\"", key, ruleOf(*preference), text)};
}

std::optional<std::vector<MenuBarMetric>> parseMetrics(std::string_view list) {
    const auto names = metrics(list);
    if (!names) return std::nullopt;
    std::vector<MenuBarMetric> result;
    for (const std::string& name : std::get<std::vector<std::string>>(*names)) {
        result.push_back(*fromRawValue<MenuBarMetric>(name));
    }
    return result;
}

std::string unknownPreference(std::string_view key) {
    std::vector<std::string> keys;
    for (const Preference& preference : preferences) keys.emplace_back(preference.key);
    const std::string meant = nearest(key, keys);
    if (!meant.empty()) return said("there is no preference \"{}\"; did you mean {}?", key, meant);
    return said("there is no preference \"{}\"; there are {}", key, spoken(preferenceKeys()));
}

}  // namespace zqm
