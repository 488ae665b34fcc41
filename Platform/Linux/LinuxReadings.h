#pragma once

#include <string>

#include "Platform/Linux/Hardware/Batteries.h"
#include "Platform/Linux/Hardware/BlockDrives.h"
#include "Platform/Linux/Hardware/EnergyZones.h"
#include "Platform/Linux/Hardware/GraphicsCards.h"
#include "Platform/Linux/Hardware/Memory.h"
#include "Platform/Linux/Hardware/PowerMeter.h"
#include "Platform/Linux/Hardware/Temperatures.h"
#include "Platform/Linux/Network/Addresses.h"
#include "Platform/Linux/Network/Interfaces.h"
#include "Platform/Linux/Network/Proxies.h"
#include "Platform/Linux/Processors/ProcessorClocks.h"
#include "Platform/Linux/Processors/Processors.h"
#include "Platform/Machine/MachineReadings.h"
#include "Platform/Machine/SourceReport.h"

namespace zqm {

/// What /proc and /sys tell of a machine: each figure comes from the class that reads its files, which also says which
/// file that is.
class LinuxReadings final : public MachineReadings {
public:
    /// `nvidiaLibrary` is NVIDIA's management library; empty: it is not used. The others outlive it.
    LinuxReadings(const RootDirectory& root, SystemSettings& settings, Clock& clock, std::string nvidiaLibrary);

    std::optional<std::vector<ProcessorTicks>> processorTicks() override { return processors_.ticks(); }
    std::vector<ProcessorKind> processorKinds() override;
    std::vector<ProcessorClock> clocks() override { return clocks_.read(); }
    std::optional<MemoryReading> memory() override { return memory_.read(); }
    std::vector<GraphicsReading> graphics() override { return cards_.read(); }
    EnergyReading energy() override;
    TemperatureReading temperatures() override { return temperatures_.read(); }
    std::optional<std::vector<DriveReading>> drives() override { return drives_.read(); }
    std::optional<std::vector<InterfaceReading>> interfaces() override { return interfaces_.read(); }
    AddressReading addresses() override { return addresses_.read(); }
    ProxyReading proxies() override { return proxies_.read(); }
    PowerSupplyReading powerSupply() override { return batteries_.read(); }

    SourceDescription describe(MetricFamily family);

    /// All that the processor packages have used, mJ; nullopt where it cannot be read. Any thread.
    std::optional<double> packageMillijoules() { return energy_.packageMillijoules(); }

private:
    SourceDescription describePower(MetricFamily family);

    const RootDirectory& root_;
    Processors processors_;
    ProcessorClocks clocks_;
    Memory memory_;
    EnergyZones energy_;
    PowerMeter meter_;
    Batteries batteries_;
    GraphicsCards cards_;
    Temperatures temperatures_;
    BlockDrives drives_;
    Interfaces interfaces_;
    Addresses addresses_;
    Proxies proxies_;
};

}  // namespace zqm
