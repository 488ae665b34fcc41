#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "Platform/Mac/GroupContainer.h"
#include "Platform/Mac/MacLog.h"
#include "Platform/Mac/MacUserDefaults.h"
#include "Platform/Mac/SystemLibraries.h"
#include "Platform/Posix/PosixFolder.h"
#include "Platform/Posix/UserDirectories.h"
#include "Platform/UserServices.h"

namespace zqm {
namespace {

class MacUser final : public UserServices {
public:
    StoredDefaults& userDefaults() override { return userDefaults_; }
    SystemSettings& systemSettings() override { return systemSettings_; }
    Log& log() override { return log_; }
    std::unique_ptr<StoredDefaults> readDefaults() override { return std::make_unique<MacUserDefaults>(libraries_); }
    std::optional<std::string> defaultsState() override { return std::nullopt; }

private:
    SystemLibraries libraries_;
    MacUserDefaults userDefaults_{libraries_};
    MacSettings systemSettings_{libraries_};
    MacLog log_;
};

}  // namespace

std::unique_ptr<UserServices> makeUserServices() {
    return std::make_unique<MacUser>();
}

std::string serviceStartCommand() {
    const std::string agent = "xyz.tallvek.Zephlon.ZQMHelper";
    const char* const home = std::getenv("HOME");
    std::error_code ignored;
    const std::string file = (home ? home : "") + ("/Library/LaunchAgents/" + agent + ".plist");
    if (!std::filesystem::exists(file, ignored)) return {};
    return "launchctl kickstart gui/" + std::to_string(::getuid()) + "/" + agent;
}

std::optional<std::string> sharedContainerPath(std::string_view identifier) {
    SystemLibraries libraries;
    return groupContainer(libraries, identifier);
}

std::unique_ptr<Folder> userState(std::string_view name) {
    const auto state = userDirectory("XDG_STATE_HOME", "Library/Application Support");
    return state ? std::make_unique<PosixFolder>(pathBelow(*state, name)) : nullptr;
}

std::string_view documentOpener() {
    return "open";
}

}  // namespace zqm
