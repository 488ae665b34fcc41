#include "Client/Commands/LiveSettings.h"

#include <sys/stat.h>

#include <filesystem>

#include "Client/Texts.h"
#include "Platform/Posix/JsonUserDefaults.h"
#include "Platform/Posix/PosixFiles.h"

namespace zqm {
namespace {

/// What the store keeps a reference to stands beside it.
struct Preferences {
    explicit Preferences(const std::string& file) : defaults(files, file), settings(defaults) {}

    PosixFiles files;
    JsonUserDefaults defaults;
    SettingsStore settings;
};

}  // namespace

std::shared_ptr<const SettingsStore> LiveSettings::now() {
    const Stamp latest = stamp();
    if (settings_ && latest == read_) return settings_;
    read_ = latest;
    const auto preferences = std::make_shared<Preferences>(file_);
    L10n::language = clientLanguage(preferences->defaults);
    for (const std::string& problem : preferences->defaults.problems()) complain_(problem);
    return settings_ = {preferences, &preferences->settings};
}

LiveSettings::Stamp LiveSettings::stamp() const {
    struct stat state {};
    if (::stat(file_.c_str(), &state) != 0) return {};
    std::error_code ignored;
    const auto changed = std::filesystem::last_write_time(file_, ignored).time_since_epoch().count();
    return {state.st_ino, state.st_size, changed};
}

}  // namespace zqm
