#include "Client/StateFolder.h"

#include "Platform/UserServices.h"
#include "ZQMHelper/UsualPort.h"

namespace zqm {
namespace {

std::string folderOf(std::uint16_t port) {
    return port == usualPort ? "zephlon" : "zephlon/port-" + std::to_string(port);
}

}  // namespace

std::unique_ptr<Folder> stateFolder(std::uint16_t port) {
    return userState(folderOf(port));
}

std::unique_ptr<Folder> historyFolder(std::uint16_t port) {
    return userState(folderOf(port) + "/history");
}

}  // namespace zqm
