#include "Client/Commands/LiveSettings.h"

#include <utility>

#include "Client/Texts.h"

namespace zqm {
namespace {

/// What the store keeps a reference to stands beside it.
struct Preferences {
    explicit Preferences(std::unique_ptr<StoredDefaults> stored) : defaults(std::move(stored)), settings(*defaults) {}

    std::unique_ptr<StoredDefaults> defaults;
    SettingsStore settings;
};

}  // namespace

std::shared_ptr<const SettingsStore> LiveSettings::now() {
    auto state = user_.defaultsState();
    if (settings_ && state && state == state_) return settings_;
    state_ = std::move(state);
    const auto preferences = std::make_shared<Preferences>(user_.readDefaults());
    L10n::language = clientLanguage(*preferences->defaults);
    for (const std::string& problem : preferences->defaults->problems()) complain_(problem);
    return settings_ = {preferences, &preferences->settings};
}

}  // namespace zqm
