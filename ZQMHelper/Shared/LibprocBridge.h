#pragma once

#include <cstdint>

#include "Platform/Machine/TaskCounters.h"

namespace zqm {

/// Bytes that one process has read from and written to storage in its life. 0 on success; −1 when that cannot be read,
/// and nothing is written then. A null output is skipped.
int ZQMReadDiskIO(TaskCounters& counters, std::int32_t pid, std::uint64_t* bytesRead, std::uint64_t* bytesWritten);

}  // namespace zqm
