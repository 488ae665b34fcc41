#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "Platform/Machine/ProcessorTicks.h"

namespace zqm {

/// How physical memory is used, in pages of `HostStatistics::pageSize`.
struct VirtualMemoryPages {
    std::uint64_t active = 0;
    std::uint64_t inactive = 0;
    std::uint64_t speculative = 0;
    std::uint64_t wired = 0;       // held by the kernel or locked
    std::uint64_t compressor = 0;  // occupied by compressed pages
    std::uint64_t purgeable = 0;   // part of active and inactive that may be thrown away
    std::uint64_t external = 0;    // part of active and inactive that is backed by files
};

/// Kernel statistics of the whole host. nullopt: the query failed. Callable from any thread, one call at a time.
class HostStatistics {
public:
    virtual ~HostStatistics() = default;
    /// One entry per logical processor in the kernel's order. A processor that goes offline keeps its place and ticks.
    virtual std::optional<std::vector<ProcessorTicks>> processorTicks() = 0;
    virtual std::optional<VirtualMemoryPages> virtualMemory() = 0;
    virtual std::optional<std::uint64_t> pageSize() = 0;  // bytes
};

}  // namespace zqm
