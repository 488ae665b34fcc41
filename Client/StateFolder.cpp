#include "Client/StateFolder.h"

#include "Platform/Posix/UserDirectories.h"
#include "Platform/UserServices.h"

namespace zqm {

std::optional<std::string> stateFolder(std::uint16_t port) {
    constexpr std::uint16_t usualPort = 18932;
    auto folder = stateFolderPath();
    if (folder && port != usualPort) folder = pathBelow(*folder, "port-" + std::to_string(port));
    return folder;
}

std::optional<std::string> historyFolder(std::uint16_t port) {
    const auto folder = stateFolder(port);
    return folder ? std::optional(pathBelow(*folder, "history")) : std::nullopt;
}

}  // namespace zqm
