#include "Platform/Posix/PosixServices.h"

#include "Platform/Machine.h"

namespace zqm {

Platform PosixServices::platformOn(Machine& machine, Clock& anyClock) {
    return {.hostStatistics = machine.hostStatistics(),
            .sysctl = machine.sysctl(),
            .networkInterfaces = machine.networkInterfaces(),
            .interfaceAddresses = machine.interfaceAddresses(),
            .registry = machine.registry(),
            .ioReport = machine.ioReport(),
            .powerSources = machine.powerSources(),
            .temperatureSensors = machine.temperatureSensors(),
            .taskCounters = machine.taskCounters(),
            .processTable = machine.processTable(),
            .commands = machine.commands() ? *machine.commands() : commands_,
            .userDefaults = userDefaults_,
            .systemSettings = systemSettings_,
            .systemFacts = machine.systemFacts(),
            .httpClient = httpClient_,
            .files = files_,
            .clock = anyClock,
            .mainLoop = mainLoop_,
            .dispatch = dispatch_,
            .listener = listener_,
            .log = log_};
}

}  // namespace zqm
