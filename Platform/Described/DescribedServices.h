#pragma once

#include "Platform/Apple/HostStatistics.h"
#include "Platform/Apple/NetworkInterfaces.h"
#include "Platform/Apple/PowerSources.h"
#include "Platform/Apple/ProxySettings.h"
#include "Platform/Apple/Sysctl.h"
#include "Platform/Apple/TemperatureSensors.h"
#include "Platform/Described/MachineModel.h"
#include "Platform/Machine/SystemFacts.h"

/// The sections of a description as services of the seam. A section or value that the description leaves out cannot be
/// read. Every service is callable from several threads at once.
namespace zqm {

class DescribedHostStatistics final : public HostStatistics {
public:
    explicit DescribedHostStatistics(MachineModel& model) : model_(model) {}
    std::optional<std::vector<ProcessorTicks>> processorTicks() override;
    std::optional<VirtualMemoryPages> virtualMemory() override;
    std::optional<std::uint64_t> pageSize() override;

private:
    MachineModel& model_;
};

class DescribedSysctl final : public Sysctl {
public:
    explicit DescribedSysctl(MachineModel& model) : model_(model) {}
    std::optional<Bytes> read(std::string_view name) override;

private:
    MachineModel& model_;
};

class DescribedNetworkInterfaces final : public NetworkInterfaces {
public:
    explicit DescribedNetworkInterfaces(MachineModel& model) : model_(model) {}
    std::optional<std::vector<LinkInterface>> links() override;

private:
    MachineModel& model_;
};

class DescribedInterfaceAddresses final : public InterfaceAddresses {
public:
    explicit DescribedInterfaceAddresses(MachineModel& model) : model_(model) {}
    std::optional<std::vector<InterfaceAddress>> ipv4() override;

private:
    MachineModel& model_;
};

class DescribedProxySettings final : public ProxySettings {
public:
    explicit DescribedProxySettings(MachineModel& model) : model_(model) {}
    std::optional<PropertyDictionary> proxySettings() override;

private:
    MachineModel& model_;
};

class DescribedSystemFacts final : public SystemFacts {
public:
    DescribedSystemFacts(MachineModel& model, Sysctl& sysctl) : model_(model), sysctl_(sysctl) {}
    std::optional<std::string> bundleText(std::string_view key) override;
    /// "unknown" when it is left out or fails.
    std::string systemVersion() override;
    std::optional<std::string> hardwareModel() override { return sysctlText(sysctl_, "hw.model"); }
    std::optional<std::string> processorName() override { return sysctlText(sysctl_, "machdep.cpu.brand_string"); }

private:
    MachineModel& model_;
    Sysctl& sysctl_;
};

class DescribedPowerSources final : public PowerSources {
public:
    explicit DescribedPowerSources(MachineModel& model) : model_(model) {}
    std::optional<std::vector<std::optional<PropertyDictionary>>> descriptions() override;
    std::optional<PropertyValue> adapterDetails() override;

private:
    MachineModel& model_;
};

class DescribedTemperatureSensors final : public TemperatureSensors {
public:
    explicit DescribedTemperatureSensors(MachineModel& model) : model_(model) {}
    std::optional<std::vector<std::unique_ptr<TemperatureSensor>>> sensors() override;

private:
    MachineModel& model_;
};

}  // namespace zqm
