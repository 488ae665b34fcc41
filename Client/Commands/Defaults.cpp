#include "Client/Commands/Commands.h"

#include <CLI/CLI.hpp>

#include "Client/Defaults.h"
#include "Client/Texts.h"

namespace zqm {
namespace {

/// Stores a preference, or takes it back to its default without a value.
ExitStatus storePreference(const std::string& key, const std::optional<std::string>& text) {
    std::optional<DefaultsValue> value;
    if (text) {
        auto parsed = parsePreference(key, *text);
        if (auto* error = std::get_if<PreferenceError>(&parsed)) return complain(error->message, ExitStatus::usage);
        value = std::get<DefaultsValue>(std::move(parsed));
    } else if (!isPreference(key)) {
        return complain(unknownPreference(key), ExitStatus::usage);
    }
    if (const auto problem = userDefaults().store(key, value)) {
        return complain(said("cannot store the preferences: {}", *problem), ExitStatus::failure);
    }
    const std::string done = text ? said("Stored.") : said("Deleted.");
    return printed(done + ' ' + said("A bar that runs reads it at once, the helper and watch at their next start.") +
                   '\n');
}

ExitStatus printPreferences(const std::string& key) {
    const auto settings = readSettings();
    if (key.empty()) return printed(preferencesText(*settings, userDefaults()));
    const auto text = preferenceText(*settings, key);
    return text ? printed(*text + '\n') : complain(unknownPreference(key), ExitStatus::usage);
}

}  // namespace

void declareDefaults(CLI::App& app, Invocation& invocation) {
    struct Options {
        std::string key;
        std::string value;
    };
    auto* command = app.add_subcommand("defaults", "The preferences: reads them all, or what follows");
    auto options = std::make_shared<Options>();
    command->footer(preferencesHelp() + "\nExample: zephlon defaults write enabledMetrics cpuUsage,memoryUsage,clock");
    const std::string keys = "NAME:{" + preferenceKeys() + "}";
    auto* read = command->add_subcommand("read", "Print a preference, or all of them");
    read->add_option("KEY", options->key, "Its name")->option_text(keys);
    auto* write = command->add_subcommand("write", "Store a preference");
    write->add_option("KEY", options->key, "Its name")->option_text(keys)->required();
    write->add_option("VALUE", options->value, "What the key below takes; several are separated by commas")->required();
    auto* remove = command->add_subcommand("delete", "Return a preference to its default");
    remove->add_option("KEY", options->key, "Its name")->option_text(keys)->required();
    command->require_subcommand(0, 1);
    command->callback([&invocation, options, write, remove] {
        invocation.command = [options, write, remove] {
            if (write->parsed()) return storePreference(options->key, options->value);
            if (remove->parsed()) return storePreference(options->key, std::nullopt);
            return printPreferences(options->key);
        };
    });
}

}  // namespace zqm
