#pragma once

#include "Platform/Described/MachineModel.h"
#include "Platform/HostStatistics.h"
#include "Platform/IOReport.h"
#include "Platform/NetworkInterfaces.h"
#include "Platform/PowerSources.h"
#include "Platform/Registry.h"
#include "Platform/Sysctl.h"
#include "Platform/TemperatureSensors.h"

/// The sections of a description as services of the seam. A section or value that the description leaves out cannot be
/// read, except that a registry without a class simply holds no services of it. Every service is callable from several
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

class DescribedRegistry final : public Registry {
public:
    explicit DescribedRegistry(MachineModel& model) : model_(model) {}
    std::optional<std::vector<std::unique_ptr<RegistryEntry>>> services(std::string_view className) override;

private:
    MachineModel& model_;
};

class DescribedIOReport final : public IOReport {
public:
    explicit DescribedIOReport(MachineModel& model) : model_(model) {}
    ReportLibrary* open(std::string_view path) override;

private:
    [[maybe_unused]] MachineModel& model_;
};

class DescribedPowerSources final : public PowerSources {
public:
    explicit DescribedPowerSources(MachineModel& model) : model_(model) {}
    std::optional<std::vector<std::optional<PropertyDictionary>>> descriptions() override;
    std::optional<PropertyValue> adapterDetails() override;

private:
    [[maybe_unused]] MachineModel& model_;
};

class DescribedTemperatureSensors final : public TemperatureSensors {
public:
    explicit DescribedTemperatureSensors(MachineModel& model) : model_(model) {}
    std::optional<std::vector<std::unique_ptr<TemperatureSensor>>> sensors() override;

private:
    [[maybe_unused]] MachineModel& model_;
};

}  // namespace zqm
