#pragma once

#include <string_view>

#include "Platform/Linux/Hardware/LinuxTemperatureSensors.h"
#include "Platform/Linux/LinuxHostStatistics.h"
#include "Platform/Linux/LinuxIOReport.h"
#include "Platform/Linux/LinuxPowerSources.h"
#include "Platform/Linux/LinuxRegistry.h"
#include "Platform/Linux/LinuxSources.h"
#include "Platform/Linux/LinuxSysctl.h"
#include "Platform/Linux/LinuxSystemFacts.h"
#include "Platform/Linux/Network/LinuxInterfaceAddresses.h"
#include "Platform/Linux/Network/LinuxNetworkInterfaces.h"
#include "Platform/Linux/Processes/LinuxProcessTable.h"
#include "Platform/Linux/Processes/LinuxTaskCounters.h"
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

    MachineServices services() override;

private:
    PosixClock systemClock_;
    RootDirectory root_;
    Clock& clock_;
    Processors processors_{root_};
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
