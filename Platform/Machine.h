#pragma once

#include <filesystem>
#include <memory>

namespace zqm {

class Commands;
class HostStatistics;
class InterfaceAddresses;
class IOReport;
class NetworkInterfaces;
class PowerSources;
class ProcessTable;
class Registry;
class SourceReport;
class Sysctl;
class SystemFacts;
class TaskCounters;
class TemperatureSensors;

/// Where a machine's services come from: the machine that the program runs on, or one described in a file. The services
/// live as long as the machine.
class Machine {
public:
    virtual ~Machine() = default;
    virtual HostStatistics& hostStatistics() = 0;
    virtual Sysctl& sysctl() = 0;
    virtual NetworkInterfaces& networkInterfaces() = 0;
    virtual InterfaceAddresses& interfaceAddresses() = 0;
    virtual Registry& registry() = 0;
    virtual IOReport& ioReport() = 0;
    virtual PowerSources& powerSources() = 0;
    virtual TemperatureSensors& temperatureSensors() = 0;
    virtual SourceReport& sourceReport() = 0;
    virtual TaskCounters& taskCounters() = 0;
    virtual ProcessTable* processTable() = 0;  // null: commands print the table
    virtual SystemFacts& systemFacts() = 0;
    virtual Commands* commands() = 0;  // null: the system's own
};

/// The machine that the program runs on; the backend that is linked in supplies it. `root` takes the place of "/" where
/// the machine is read through files.
std::unique_ptr<Machine> makeNativeMachine(const std::filesystem::path& root);

}  // namespace zqm
