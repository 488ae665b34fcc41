#include "Platform/Posix/PosixSettings.h"

#include <cstdlib>
#include <utility>

#include "Platform/Posix/UserDirectories.h"

namespace zqm {

SharedContainer PosixSettings::sharedContainer(std::string_view identifier) {
    auto container = containerPath(identifier);
    if (!container) return {std::nullopt, "there is no home directory: set HOME or XDG_DATA_HOME to an absolute path"};
    if (auto problem = makePrivateDirectory(*container)) return {std::nullopt, std::move(*problem)};
    return {std::move(container), {}};
}

std::optional<std::string> PosixSettings::containerPath(std::string_view identifier) {
    const auto directory = userDirectory("XDG_DATA_HOME", ".local/share");
    return directory ? std::optional(pathBelow(*directory, identifier)) : std::nullopt;
}

std::optional<std::string> PosixSettings::environment(std::string_view name) {
    const char* value = std::getenv(std::string(name).c_str());
    return value ? std::optional<std::string>(value) : std::nullopt;
}

}  // namespace zqm
