#pragma once

#include "Platform/Linux/Processes/ProcessNames.h"
#include "Platform/Linux/Processes/ProcessScan.h"
#include "Platform/Linux/Processes/SocketOwners.h"
#include "Platform/Machine/ProcessTable.h"
#include "Platform/Machine/SourceReport.h"

namespace zqm {

/// The process table of /proc. A pass over it is shared with whatever else speaks of the processes (LinuxTaskCounters),
/// so all of that is called from the one thread that samples processes.
class LinuxProcessTable final : public ProcessTable {
public:
    LinuxProcessTable(const RootDirectory& root, Clock& clock, PackageEnergySource packageEnergy = nullptr)
        : root_(root), processes_(root, clock, std::move(packageEnergy)), names_(root), sockets_(root, clock) {}

    /// Programs before the kernel's threads, and these before processes that hide their disk counters; within each,
    /// those first that used most processor time lately.
    std::optional<std::vector<ProcessRow>> processes() override;
    /// Among the processes of the latest reading of the table.
    std::optional<std::vector<SocketOwner>> socketOwners() override;
    std::string fullName(const ProcessRow& row) override { return names_.fullName(row); }
    /// From /proc/PID/statm: the figure of the table is a sum that the kernel keeps by processor and lets lag behind.
    std::uint64_t exactResidentBytes(const ProcessRow& row) override;

    /// Where a ranking comes from, and how many processes hide it from this user.
    SourceDescription describe(MetricFamily family);

    /// Everything known of the processes of the latest reading.
    ProcessScan& known() { return processes_; }

private:
    const RootDirectory& root_;
    ProcessScan processes_;
    ProcessNames names_;
    SocketOwners sockets_;
};

}  // namespace zqm
