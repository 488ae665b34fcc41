#pragma once

#include <cstdint>

#include "Platform/Platform.h"
#include "ZQMHelper/Shared/Metrics.h"

namespace zqm {

/// How physical memory and swap are used now. Keeps no history; used from one thread at a time.
class MemoryReader {
public:
    explicit MemoryReader(Platform& platform = Platform::current());

    /// Without the machine's answer only `totalBytes` is filled.
    MemoryMetrics sample();

private:
    MemoryMetrics samplePlain();
    MemoryMetrics samplePages();

    Platform& platform_;
    std::uint64_t pageSize_;    // bytes; 0 when the host does not tell
    std::uint64_t totalBytes_;  // installed memory, as told last; 0 likewise
};

}  // namespace zqm
