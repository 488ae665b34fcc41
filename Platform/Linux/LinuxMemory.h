#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "Platform/Apple/HostStatistics.h"
#include "Platform/Linux/Kernel/KernelFile.h"
#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Support/Mutex.h"

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

/// Used memory divided into pages so that active, wired and compressor add up to it exactly; `zram` is the memory of
/// compressed block devices, in bytes. nullopt without the lines that tell.
std::optional<VirtualMemoryPages> memoryPages(const MemoryInfo& info, std::uint64_t zram, std::uint64_t pageSize);

/// /proc/meminfo, read once per tick for the two services that present parts of it. Callable from any thread.
class MemoryInfoSource {
public:
    explicit MemoryInfoSource(const RootDirectory& root) : file_(root.path("/proc/meminfo")) {}

    std::optional<MemoryInfo> read();
    /// What the last `read` gave, once: swap is asked for directly after memory, and both then tell of one moment. When
    /// that reading has been taken already, a new one.
    std::optional<MemoryInfo> takeLast();

private:
    std::optional<MemoryInfo> readFile() ZQM_REQUIRES(mutex_);

    Mutex mutex_;
    KernelFile file_ ZQM_GUARDED_BY(mutex_);
    std::optional<MemoryInfo> last_ ZQM_GUARDED_BY(mutex_);
};

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

}  // namespace zqm
