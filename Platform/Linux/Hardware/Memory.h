#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "Platform/Linux/Kernel/KernelFile.h"
#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Machine/MachineReadings.h"
#include "Platform/Machine/SourceReport.h"

namespace zqm {

/// The lines of /proc/meminfo that this program uses, in bytes; a line that is missing, cut or absurd is absent.
struct MemoryInfo {
    using Amount = std::optional<std::uint64_t>;
    Amount total, available, free, buffers, cached, reclaimable, shared;      // what the machine has and can give
    Amount unreclaimable, kernelStacks, pageTables, secondaryTables, perCpu;  // held by the kernel
    Amount unevictable, locked, hugePages;                                    // held by locks and reservations
    Amount zswap;                                                             // pool of compressed pages
    Amount swapTotal, swapFree;
};

MemoryInfo parseMemoryInfo(std::string_view content);

/// Memory that is neither free nor can be had without swapping; nullopt without the lines that tell.
std::optional<std::uint64_t> usedBytes(const MemoryInfo& info);

/// The memory that compressed block devices occupy. One thread at a time.
class ZramDevices {
public:
    explicit ZramDevices(const RootDirectory& root) : root_(root) {}
    std::uint64_t usedBytes();

private:
    const RootDirectory& root_;
    unsigned readings_ = 0;  // devices are looked for on every hundredth
    std::vector<KernelFile> statistics_;
};

/// Memory and swap from /proc/meminfo, its pressure from the kernel's pressure stall information. One thread at a time.
class Memory {
public:
    explicit Memory(const RootDirectory& root);

    /// What is used is divided so that app, wired and compressed add up to it exactly. nullopt without the lines that
    /// tell.
    std::optional<MemoryReading> read();
    SourceDescription describe(MetricFamily family) const;

private:
    std::int64_t pressureLevel();
    std::uint64_t givenBackByZfs();

    const RootDirectory& root_;
    KernelFile info_;
    KernelFile pressure_;
    KernelFile zfs_;
    ZramDevices zram_;
};

}  // namespace zqm
