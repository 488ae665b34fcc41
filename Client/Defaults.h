#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "Platform/Process/UserDefaults.h"
#include "ZQMHelper/Shared/SettingsStore.h"

namespace zqm {

/// Every preference with the value in effect, one per line, those that are stored marked.
std::string preferencesText(const SettingsStore& settings, UserDefaults& defaults);

/// The value in effect, as `parsePreference` reads it; nullopt when no preference has this name.
std::optional<std::string> preferenceText(const SettingsStore& settings, std::string_view key);

struct PreferenceError {
    std::string message;
};

/// `text` as the value to store; refused is what the settings store would not take as it is.
std::variant<DefaultsValue, PreferenceError> parsePreference(std::string_view key, std::string_view text);

/// "there is no preference …", with those that there are.
std::string unknownPreference(std::string_view key);

}  // namespace zqm
