#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "Platform/Process/UserDefaults.h"
#include "ZQMHelper/Shared/SettingsStore.h"

namespace zqm {

/// Every preference with the value in effect, one per line, those that are stored marked; beside what is stored and not
/// allowed stands what would be.
std::string preferencesText(const SettingsStore& settings, UserDefaults& defaults);

bool isPreference(std::string_view key);

/// The value in effect, as `parsePreference` reads it; nullopt when no preference has this name.
std::optional<std::string> preferenceText(const SettingsStore& settings, std::string_view key);

struct PreferenceError {
    std::string message;
};

/// `text` as the value to store; refused is what the settings store would not take as it is.
std::variant<DefaultsValue, PreferenceError> parsePreference(std::string_view key, std::string_view text);

/// The metrics of a list of names, separated by commas; nullopt where one is unknown.
std::optional<std::vector<MenuBarMetric>> parseMetrics(std::string_view list);

/// Each key, what it takes and what it is for, in the form of the command line's help, which the completions read.
std::string preferencesHelp();
/// The keys, separated by commas.
std::string preferenceKeys();

/// "there is no preference …", with those that there are.
std::string unknownPreference(std::string_view key);

}  // namespace zqm
