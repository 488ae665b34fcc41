#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <vector>

#include "Platform/Posix/JsonUserDefaults.h"
#include "Platform/Posix/PosixFiles.h"
#include "Platform/Posix/PosixFolder.h"
#include "Platform/Posix/PosixLog.h"
#include "Platform/Posix/PosixSettings.h"
#include "Platform/Posix/UserDirectories.h"
#include "Platform/UserServices.h"

namespace zqm {
namespace {

class LinuxUser final : public UserServices {
public:
    StoredDefaults& userDefaults() override { return userDefaults_; }
    SystemSettings& systemSettings() override { return systemSettings_; }
    Log& log() override { return log_; }
    std::unique_ptr<StoredDefaults> readDefaults() override {
        return std::make_unique<JsonUserDefaults>(files_, JsonUserDefaults::standardFile());
    }
    std::optional<std::string> defaultsState() override;

private:
    PosixFiles files_;
    JsonUserDefaults userDefaults_{files_, JsonUserDefaults::standardFile()};
    PosixSettings systemSettings_;
    PosixLog log_;
};

/// The file's number, size and time of change.
std::optional<std::string> LinuxUser::defaultsState() {
    struct stat state {};
    if (::stat(JsonUserDefaults::standardFile().c_str(), &state) != 0) return "none";
    std::string text;
    for (const std::int64_t part : {static_cast<std::int64_t>(state.st_ino), std::int64_t{state.st_size},
                                    std::int64_t{state.st_mtim.tv_sec}, std::int64_t{state.st_mtim.tv_nsec}}) {
        text += std::to_string(part) + " ";
    }
    return text;
}

}  // namespace

std::unique_ptr<UserServices> makeUserServices() {
    return std::make_unique<LinuxUser>();
}

std::string serviceStartCommand() {
    std::error_code ignored;
    if (!std::filesystem::exists("/run/systemd/system", ignored)) return {};
    std::vector<std::string> folders{"/etc", "/usr/lib", "/usr/share", "/usr/local/lib", "/usr/local/share"};
    if (const auto own = userDirectory("XDG_CONFIG_HOME", ".config")) folders.push_back(*own);
    if (const auto own = userDirectory("XDG_DATA_HOME", ".local/share")) folders.push_back(*own);
    const bool isInstalled = std::any_of(folders.begin(), folders.end(), [&](const std::string& folder) {
        return std::filesystem::exists(folder + "/systemd/user/zephlon-helper.service", ignored);
    });
    return isInstalled ? "systemctl --user start zephlon-helper" : "";
}

std::optional<std::string> sharedContainerPath(std::string_view identifier) {
    return PosixSettings::containerPath(identifier);
}

std::unique_ptr<Folder> userState(std::string_view name) {
    const auto state = userDirectory("XDG_STATE_HOME", ".local/state");
    return state ? std::make_unique<PosixFolder>(pathBelow(*state, name)) : nullptr;
}

std::string_view documentOpener() {
    return "xdg-open";
}

}  // namespace zqm
