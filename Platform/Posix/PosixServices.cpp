#include "Platform/Posix/PosixServices.h"

namespace zqm {

ProcessServices PosixServices::services(Clock& anyClock) {
    return {.commands = commands_,
            .userDefaults = userDefaults_,
            .systemSettings = systemSettings_,
            .httpClient = httpClient_,
            .files = files_,
            .clock = anyClock,
            .mainLoop = mainLoop_,
            .dispatch = dispatch_,
            .listener = listener_,
            .log = log_};
}

}  // namespace zqm
