#pragma once

#include "Platform/Described/MachineModel.h"
#include "Platform/HostStatistics.h"
#include "Platform/NetworkInterfaces.h"
#include "Platform/PowerSources.h"
#include "Platform/Sysctl.h"
#include "Platform/SystemSettings.h"
#include "Platform/TemperatureSensors.h"

/// The sections of a description as services of the seam. A section or value that the description leaves out cannot be
/// read. Every service is callable from several
/// threads at once.
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

class DescribedSystemFacts final : public SystemFacts {
public:
    explicit DescribedSystemFacts(MachineModel& model) : model_(model) {}
    std::optional<PropertyDictionary> proxySettings() override;
    std::optional<std::string> bundleText(std::string_view key) override;
    /// "unknown" when it is left out or fails.
    std::string systemVersion() override;

private:
    MachineModel& model_;
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
