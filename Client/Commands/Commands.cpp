#include "Client/Commands/Commands.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "Client/Commands/LiveSettings.h"
#include "Client/Terminal.h"
#include "Client/Texts.h"
#include "Client/ThisMachine.h"

namespace zqm {

ExitStatus complain(std::string message, ExitStatus status) {
    std::replace(message.begin(), message.end(), '\n', ' ');
    std::fprintf(stderr, "zephlon: %s\n", printable(message).c_str());
    return status;
}

ExitStatus cannotWrite() {
    return errno == EPIPE ? ExitStatus::failure : complain(said("cannot write the output"), ExitStatus::failure);
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

std::shared_ptr<const SettingsStore> readSettings() {
    static LiveSettings settings(userServices(),
                                 [](const std::string& problem) { complain(problem, ExitStatus::success); });
    return settings.now();
}

std::size_t rankingRows() {
    constexpr std::size_t all = 10;
    const bool isStored = userDefaults().hasObjectForKey("topProcessCount");
    return isStored ? static_cast<std::size_t>(readSettings()->topProcessCount()) : all;
}

std::function<HelperAnswer()> questionOfNow(const Invocation& invocation, Seconds interval) {
    return [processes = std::make_shared<ThisMachine>(invocation.root), helper = HelperClient(invocation.port),
            interval]() -> HelperAnswer {
        HelperAnswer answer = helper.freshSnapshot(interval);
        if (auto* reply = std::get_if<SnapshotReply>(&answer)) processes->dropEnded(*reply);
        return answer;
    };
}

}  // namespace zqm
