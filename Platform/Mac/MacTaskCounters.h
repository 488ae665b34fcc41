#pragma once

#include "Platform/Mac/Libraries/LibSystem.h"
#include "Platform/Machine/TaskCounters.h"

namespace zqm {

/// Counters of single processes from the kernel: energy where the processor counts it (Arm), bytes of one's own
/// processes alone. Callable from any thread.
class MacTaskCounters final : public TaskCounters {
public:
    MacTaskCounters(const MachCalls& mach, DynamicLibraries& libraries) : mach_(mach), calls_(libraries) {}
    std::unique_ptr<TaskName> taskName(std::int32_t pid) override;
    std::optional<TaskDisk> disk(std::int32_t pid) override;

    /// What the system lacks; empty: nothing.
    const std::string& missing() const { return mach_.isWhole() ? calls_.missing() : mach_.missing(); }

private:
    const MachCalls& mach_;
    const TaskCalls calls_;
};

}  // namespace zqm
