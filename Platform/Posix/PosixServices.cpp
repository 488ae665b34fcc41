#include "Platform/Posix/PosixServices.h"

#include "Platform/Process/UserDefaults.h"

namespace zqm {

ProcessServices PosixServices::services(Clock& anyClock) {
    return {.commands = commands_,
            .userDefaults = user_.userDefaults(),
            .systemSettings = user_.systemSettings(),
            .httpClient = httpClient_,
            .files = files_,
            .clock = anyClock,
            .mainLoop = mainLoop_,
            .dispatch = dispatch_,
            .listener = listener_,
            .log = user_.log()};
}

}  // namespace zqm
