#include "ZQMHelper/Shared/TaskPowerBridge.h"

namespace zqm {

int ZQMReadTaskPower(TaskCounters& counters, std::int32_t pid, std::uint64_t* energy, std::uint64_t* gpuTime,
                     std::uint64_t* userTime, std::uint64_t* systemTime, std::uint64_t* interruptWakeups) {
    const auto task = counters.taskName(pid);
    const auto power = task ? task->power() : std::nullopt;
    if (!power) return -1;
    if (energy) *energy = power->energy;
    if (gpuTime) *gpuTime = power->gpuTime;
    if (userTime) *userTime = power->userTime;
    if (systemTime) *systemTime = power->systemTime;
    if (interruptWakeups) *interruptWakeups = power->interruptWakeups;
    return 0;
}

}  // namespace zqm
