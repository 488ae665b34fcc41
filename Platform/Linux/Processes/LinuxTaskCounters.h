#pragma once

#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Linux/Processes/ProcessScan.h"
#include "Platform/Machine/TaskCounters.h"

namespace zqm {

/// Counters of the processes that the last pass met; of others nothing is known. Times are nanoseconds. Called from the
/// thread that makes the passes.
///
/// A process's energy is its processor time at the price of BusyPower. The kernel counts neither GPU time nor wake-ups
/// by process in a way that is common to all machines; both are 0.
class LinuxTaskCounters final : public TaskCounters {
public:
    LinuxTaskCounters(const RootDirectory& root, ProcessScan& processes) : root_(root), processes_(processes) {}

    /// Answers with the counters of the time it was made.
    std::unique_ptr<TaskName> taskName(std::int32_t pid) override;
    /// A process whose counters this user may not see is asked about once a minute, and when it bears another name.
    std::optional<TaskDisk> disk(std::int32_t pid) override;

private:
    const RootDirectory& root_;
    ProcessScan& processes_;
};

}  // namespace zqm
