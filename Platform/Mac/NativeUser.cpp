#include "Platform/Mac/GroupContainer.h"
#include "Platform/Mac/MacLog.h"
#include "Platform/Mac/MacUserDefaults.h"
#include "Platform/Mac/SystemLibraries.h"
#include "Platform/UserServices.h"

namespace zqm {
namespace {

class MacUser final : public UserServices {
public:
    StoredDefaults& userDefaults() override { return userDefaults_; }
    SystemSettings& systemSettings() override { return systemSettings_; }
    Log& log() override { return log_; }

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

std::optional<std::string> sharedContainerPath(std::string_view identifier) {
    SystemLibraries libraries;
    return groupContainer(libraries, identifier);
}

}  // namespace zqm
