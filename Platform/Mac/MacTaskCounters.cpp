#include "Platform/Mac/MacTaskCounters.h"

namespace zqm {
namespace {

constexpr unsigned powerInfo2 = 26;  // TASK_POWER_INFO_V2
constexpr int usageInfo4 = 4;        // RUSAGE_INFO_V4

class MacTaskName final : public TaskName {
public:
    MacTaskName(const MachCalls& mach, const TaskCalls& calls, MachPort name)
        : mach_(mach), calls_(calls), name_(name) {}
    ~MacTaskName() override { mach_.mach_port_deallocate(*mach_.mach_task_self_, name_); }
    MacTaskName(const MacTaskName&) = delete;
    MacTaskName& operator=(const MacTaskName&) = delete;

    std::optional<TaskPower> power() const override {
        TaskPowerRecord record{};
        constexpr std::uint32_t withEnergy = sizeof record / sizeof(std::uint32_t);
        std::uint32_t count = withEnergy;
        if (calls_.task_info(name_, powerInfo2, &record, &count) != 0) return std::nullopt;
        return TaskPower{.energy = count >= withEnergy ? record.energy : 0,  // what stands there on Intel is a time
                         .gpuTime = record.gpuTime,
                         .userTime = record.user,
                         .systemTime = record.system,
                         .interruptWakeups = record.interruptWakeups};
    }

private:
    const MachCalls& mach_;
    const TaskCalls& calls_;
    MachPort name_;
};

}  // namespace

std::unique_ptr<TaskName> MacTaskCounters::taskName(std::int32_t pid) {
    if (!mach_.isWhole() || !calls_.task_name_for_pid || !calls_.task_info) return nullptr;
    MachPort name = 0;
    if (calls_.task_name_for_pid(*mach_.mach_task_self_, pid, &name) != 0 || !name) return nullptr;
    return std::make_unique<MacTaskName>(mach_, calls_, name);
}

std::optional<TaskDisk> MacTaskCounters::disk(std::int32_t pid) {
    UsageRecord record{};
    if (!calls_.proc_pid_rusage || calls_.proc_pid_rusage(pid, usageInfo4, &record) != 0) return std::nullopt;
    return TaskDisk{record.bytesRead, record.bytesWritten};
}

}  // namespace zqm
