#include "Client/Commands/Commands.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "Client/Terminal.h"

namespace zqm {

ExitStatus complain(std::string message, ExitStatus status) {
    std::replace(message.begin(), message.end(), '\n', ' ');
    std::fprintf(stderr, "zephlon: %s\n", printable(message).c_str());
    return status;
}

ExitStatus cannotWrite() {
    return errno == EPIPE ? ExitStatus::failure : complain("cannot write the output", ExitStatus::failure);
}

ExitStatus printed(const std::string& text) {
    return printOut(text) ? ExitStatus::success : cannotWrite();
}

UserServices& userServices() {
    static const auto services = makeUserServices();
    return *services;
}

StoredDefaults& userDefaults() {
    return userServices().userDefaults();
}

std::shared_ptr<SettingsStore> readSettings() {
    for (const std::string& problem : userDefaults().problems()) complain(problem, ExitStatus::success);
    return std::make_shared<SettingsStore>(userDefaults());
}

}  // namespace zqm
