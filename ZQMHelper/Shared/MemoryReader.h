#pragma once

#include <cstdint>

#include "Platform/Platform.h"
#include "ZQMHelper/Shared/Metrics.h"

namespace zqm {

/// How physical memory and swap are used now. Keeps no history; used from one thread at a time.
class MemoryReader {
public:
    explicit MemoryReader(Platform& platform = Platform::current());

    /// Without the kernel's page counts only `totalBytes` is filled.
    MemoryMetrics sample();

private:
    Platform& platform_;
    std::uint64_t pageSize_;    // bytes; 0 when the host does not tell
    std::uint64_t totalBytes_;  // installed memory; 0 likewise
};

}  // namespace zqm
