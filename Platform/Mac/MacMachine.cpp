#include "Platform/Mac/MacMachine.h"

namespace zqm {

MacMachine::MacMachine(DynamicLibraries& libraries, Clock& clock)
    : core_(libraries),
      mach_(libraries),
      hostStatistics_(mach_, libraries),
      sysctl_(libraries),
      addresses_(libraries),
      proxySettings_(core_, libraries),
      registry_(core_, mach_, libraries),
      ioReport_(core_, libraries),
      powerSources_(core_, libraries),
      temperatureSensors_(core_, libraries, clock),
      taskCounters_(mach_, libraries),
      systemFacts_(core_, sysctl_, libraries),
      sources_({libraries, hostStatistics_, sysctl_, addresses_, proxySettings_, registry_, ioReport_, powerSources_,
                temperatureSensors_, taskCounters_}),
      details_(libraries, appleServices(), sysctl_, clock) {}

AppleServices MacMachine::appleServices() {
    return {.hostStatistics = hostStatistics_,
            .sysctl = sysctl_,
            .networkInterfaces = sysctl_,
            .interfaceAddresses = addresses_,
            .proxySettings = proxySettings_,
            .registry = registry_,
            .ioReport = ioReport_,
            .powerSources = powerSources_,
            .temperatureSensors = temperatureSensors_};
}

MachineServices MacMachine::services() {
    return {appleServices(), nullptr, nullptr, nullptr, taskCounters_, systemFacts_, sources_};
}

}  // namespace zqm
