#pragma once

#include <string_view>

#include "Platform/Linux/LinuxHostStatistics.h"
#include "Platform/Linux/LinuxIOReport.h"
#include "Platform/Linux/LinuxInterfaceAddresses.h"
#include "Platform/Linux/LinuxNetworkInterfaces.h"
#include "Platform/Linux/LinuxPowerSources.h"
#include "Platform/Linux/LinuxProcessTable.h"
#include "Platform/Linux/LinuxRegistry.h"
#include "Platform/Linux/LinuxSources.h"
#include "Platform/Linux/LinuxSysctl.h"
#include "Platform/Linux/LinuxSystemFacts.h"
#include "Platform/Linux/LinuxTaskCounters.h"
#include "Platform/Linux/LinuxTemperatureSensors.h"
#include "Platform/Machine.h"
#include "Platform/Posix/PosixClock.h"
#include "Platform/Posix/PosixSettings.h"

namespace zqm {

/// A Linux machine, read below a root directory: this one at "/", or one whose /proc and /sys were recorded elsewhere.
/// Files are opened when they are first asked for.
class LinuxMachine final : public Machine {
public:
    explicit LinuxMachine(std::string_view root = "/") : LinuxMachine(root, systemClock_) {}
    /// With a clock for the intervals between readings.
    LinuxMachine(std::string_view root, Clock& clock)
        : root_(root), clock_(clock), cards_(root_, clock_, root == "/" ? "libnvidia-ml.so.1" : "") {}

    HostStatistics& hostStatistics() override { return hostStatistics_; }
    Sysctl& sysctl() override { return sysctl_; }
    NetworkInterfaces& networkInterfaces() override { return networkInterfaces_; }
    InterfaceAddresses& interfaceAddresses() override { return interfaceAddresses_; }
    Registry& registry() override { return registry_; }
    IOReport& ioReport() override { return ioReport_; }
    PowerSources& powerSources() override { return powerSources_; }
    TemperatureSensors& temperatureSensors() override { return temperatureSensors_; }
    SourceReport& sourceReport() override { return sources_; }
    TaskCounters& taskCounters() override { return taskCounters_; }
    ProcessTable* processTable() override { return &processTable_; }
    Commands* commands() override { return nullptr; }
    SystemFacts& systemFacts() override { return systemFacts_; }

private:
    PosixClock systemClock_;
    RootDirectory root_;
    Clock& clock_;
    LinuxProcessors processors_{root_};
    ProcessorFrequencies frequencies_{root_, processors_, clock_};
    MemoryInfoSource memory_{root_};
    EnergyZones energy_{root_, clock_};
    Batteries batteries_{root_, clock_};
    GraphicsCards cards_;  // NVIDIA's library knows only this machine's
    PowerController controller_{energy_, batteries_};
    LinuxHostStatistics hostStatistics_{root_, processors_, memory_};
    LinuxSysctl sysctl_{root_, processors_, memory_};
    LinuxNetworkInterfaces networkInterfaces_{root_};
    LinuxInterfaceAddresses interfaceAddresses_{root_, networkInterfaces_};
    LinuxRegistry registry_{{root_, processors_, frequencies_, cards_, batteries_, controller_}};
    LinuxIOReport ioReport_{frequencies_, cards_, energy_};
    LinuxPowerSources powerSources_{batteries_};
    LinuxTemperatureSensors temperatureSensors_{root_, clock_, cards_};
    LinuxSources sources_{root_};
    LinuxProcessTable processTable_{root_, clock_, [this] { return energy_.packageMillijoules(); }};
    LinuxTaskCounters taskCounters_{root_, processTable_.known()};
    PosixSettings environment_;
    LinuxSystemFacts systemFacts_{root_, environment_, clock_, ZQM_VERSION};
};

}  // namespace zqm
