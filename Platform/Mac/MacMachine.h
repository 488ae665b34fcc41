#pragma once

#include "Platform/Mac/Details/MacDetails.h"
#include "Platform/Mac/MacAddresses.h"
#include "Platform/Mac/MacHostStatistics.h"
#include "Platform/Mac/MacIOReport.h"
#include "Platform/Mac/MacPowerSources.h"
#include "Platform/Mac/MacRegistry.h"
#include "Platform/Mac/MacSources.h"
#include "Platform/Mac/MacSysctl.h"
#include "Platform/Mac/MacSystemFacts.h"
#include "Platform/Mac/MacTaskCounters.h"
#include "Platform/Mac/MacTemperatureSensors.h"
#include "Platform/Machine.h"

namespace zqm {

/// A machine of Apple's, read through the libraries of its system. A library or a function that is missing costs what
/// is read through it, no more. Libraries and clock outlive it, and it what its services hand out.
class MacMachine final : public Machine {
public:
    MacMachine(DynamicLibraries& libraries, Clock& clock);
    MachineServices services() override;
    MachineDetails* details() override { return &details_; }

private:
    AppleServices appleServices();

    const CoreFoundation core_;
    const MachCalls mach_;
    MacHostStatistics hostStatistics_;
    MacSysctl sysctl_;
    MacAddresses addresses_;
    MacProxySettings proxySettings_;
    MacRegistry registry_;
    MacIOReport ioReport_;
    MacPowerSources powerSources_;
    MacTemperatureSensors temperatureSensors_;
    MacTaskCounters taskCounters_;
    MacSystemFacts systemFacts_;
    MacSources sources_;
    MacDetails details_;
};

}  // namespace zqm
