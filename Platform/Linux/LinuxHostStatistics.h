#pragma once

#include "Platform/Apple/HostStatistics.h"
#include "Platform/Linux/LinuxMemory.h"
#include "Platform/Linux/Processors/Processors.h"

namespace zqm {

/// Processor ticks from /proc/stat and memory from /proc/meminfo.
class LinuxHostStatistics final : public HostStatistics {
public:
    LinuxHostStatistics(const RootDirectory& root, Processors& processors, MemoryInfoSource& memory)
        : processors_(processors), memory_(memory), zram_(root) {}

    std::optional<std::vector<ProcessorTicks>> processorTicks() override { return processors_.ticks(); }
    std::optional<VirtualMemoryPages> virtualMemory() override;
    std::optional<std::uint64_t> pageSize() override;

private:
    Processors& processors_;
    MemoryInfoSource& memory_;
    ZramDevices zram_;
};

}  // namespace zqm
