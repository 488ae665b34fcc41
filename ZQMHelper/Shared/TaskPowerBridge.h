#pragma once

#include <cstdint>

#include "Platform/Machine/TaskCounters.h"

namespace zqm {

/// Cumulative power counters of one process (units: TaskPower). 0 on success; −1 when the process is gone or may not be
/// asked about, and nothing is written then. A null output is skipped.
int ZQMReadTaskPower(TaskCounters& counters, std::int32_t pid, std::uint64_t* energy, std::uint64_t* gpuTime,
                     std::uint64_t* userTime, std::uint64_t* systemTime, std::uint64_t* interruptWakeups);

}  // namespace zqm
