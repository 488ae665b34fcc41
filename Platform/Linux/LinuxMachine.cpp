#include "Platform/Linux/LinuxMachine.h"

namespace zqm {

MachineServices LinuxMachine::services() {
    return {{.hostStatistics = hostStatistics_,
             .sysctl = sysctl_,
             .networkInterfaces = networkInterfaces_,
             .interfaceAddresses = interfaceAddresses_,
             .proxySettings = systemFacts_,
             .registry = registry_,
             .ioReport = ioReport_,
             .powerSources = powerSources_,
             .temperatureSensors = temperatureSensors_},
            nullptr,
            &processTable_,
            nullptr,
            taskCounters_,
            systemFacts_,
            sources_};
}

std::unique_ptr<Machine> makeNativeMachine(std::string_view root) {
    return std::make_unique<LinuxMachine>(root);
}

}  // namespace zqm
