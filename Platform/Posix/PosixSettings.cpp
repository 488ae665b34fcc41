#include "Platform/Posix/PosixSettings.h"

#include <cstdlib>

#include "Platform/Posix/LocalClient.h"
#include "Platform/Posix/UserDirectories.h"

namespace zqm {

std::optional<std::string> PosixSettings::sharedContainer(std::string_view identifier) {
    auto container = sharedContainerPath(identifier);
    return container && !makePrivateDirectory(*container) ? container : std::nullopt;
}

std::optional<std::string> PosixSettings::environment(std::string_view name) {
    const char* value = std::getenv(std::string(name).c_str());
    return value ? std::optional<std::string>(value) : std::nullopt;
}

}  // namespace zqm
