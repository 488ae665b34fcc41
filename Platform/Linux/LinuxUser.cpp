#include "Platform/Posix/JsonUserDefaults.h"
#include "Platform/Posix/PosixFiles.h"
#include "Platform/Posix/PosixLog.h"
#include "Platform/Posix/PosixSettings.h"
#include "Platform/UserServices.h"

namespace zqm {
namespace {

class LinuxUser final : public UserServices {
public:
    StoredDefaults& userDefaults() override { return userDefaults_; }
    SystemSettings& systemSettings() override { return systemSettings_; }
    Log& log() override { return log_; }

private:
    PosixFiles files_;
    JsonUserDefaults userDefaults_{files_, JsonUserDefaults::standardFile()};
    PosixSettings systemSettings_;
    PosixLog log_;
};

}  // namespace

std::unique_ptr<UserServices> makeUserServices() {
    return std::make_unique<LinuxUser>();
}

std::optional<std::string> sharedContainerPath(std::string_view identifier) {
    return PosixSettings::containerPath(identifier);
}

}  // namespace zqm
