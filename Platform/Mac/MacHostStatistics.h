#pragma once

#include <array>

#include "Platform/Apple/HostStatistics.h"
#include "Platform/Mac/Libraries/LibSystem.h"

namespace zqm {

/// The Mach kernel's statistics. Its counters of ticks have 32 bits; they are widened here, so that one which wraps
/// goes on growing. One call at a time, often enough that no counter grows by 2^31 in between (248 days at 100 Hz).
class MacHostStatistics final : public HostStatistics {
public:
    MacHostStatistics(const MachCalls& mach, DynamicLibraries& libraries);
    ~MacHostStatistics() override;
    MacHostStatistics(const MacHostStatistics&) = delete;
    MacHostStatistics& operator=(const MacHostStatistics&) = delete;

    std::optional<std::vector<ProcessorTicks>> processorTicks() override;
    std::optional<VirtualMemoryPages> virtualMemory() override;
    std::optional<std::uint64_t> pageSize() override;

    /// What the system lacks; empty: nothing.
    const std::string& missing() const { return mach_.isWhole() ? calls_.missing() : mach_.missing(); }

private:
    const MachCalls& mach_;
    const HostCalls calls_;
    const MachPort host_;  // 0: none
    std::vector<std::array<std::uint64_t, 4>> ticks_;
};

}  // namespace zqm
