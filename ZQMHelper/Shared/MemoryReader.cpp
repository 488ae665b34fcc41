#include "ZQMHelper/Shared/MemoryReader.h"

#include "Platform/Apple/HostStatistics.h"
#include "Platform/Apple/Sysctl.h"
#include "Platform/Machine/MachineReadings.h"
#include "Support/Saturated.h"

namespace zqm {
namespace {

// The counts are not one atomic picture and may come from a kernel that errs: sums and products stay at the bounds of
// the type instead of wrapping.

constexpr std::uint64_t difference(std::uint64_t a, std::uint64_t b) {
    return a > b ? a - b : 0;
}

/// The kernel's record of "vm.swapusage".
struct SwapUsage {
    std::uint64_t total;
    std::uint64_t available;
    std::uint64_t used;
    std::uint32_t pageSize;
    std::uint32_t encrypted;
};
static_assert(sizeof(SwapUsage) == 32);

}  // namespace

MemoryReader::MemoryReader(Platform& platform)
    : platform_(platform),
      pageSize_(platform.hostStatistics.pageSize().value_or(0)),
      totalBytes_(sysctlValue<std::uint64_t>(platform.sysctl, "hw.memsize").value_or(0)) {}

MemoryMetrics MemoryReader::sample() {
    MemoryMetrics metrics = platform_.readings ? samplePlain() : samplePages();
    metrics.totalBytes = totalBytes_;
    metrics.usedBytes = addSaturated(metrics.appBytes, metrics.wiredBytes, metrics.compressedBytes);
    if (totalBytes_ != 0) {
        metrics.pressureFraction =
            (static_cast<double>(metrics.wiredBytes) + static_cast<double>(metrics.compressedBytes)) /
            static_cast<double>(totalBytes_);
    }
    return metrics;
}

MemoryMetrics MemoryReader::samplePlain() {
    const auto memory = platform_.readings->memory();
    if (!memory) return {};
    totalBytes_ = memory->total;
    MemoryMetrics metrics;
    metrics.appBytes = memory->app;
    metrics.wiredBytes = memory->wired;
    metrics.compressedBytes = memory->compressed;
    metrics.pressureLevel = memory->pressureLevel;
    metrics.swapTotalBytes = memory->swapTotal;
    metrics.swapUsedBytes = memory->swapUsed;
    return metrics;
}

MemoryMetrics MemoryReader::samplePages() {
    MemoryMetrics metrics;
    const auto pages = platform_.hostStatistics.virtualMemory();
    if (!pages) return metrics;
    const std::uint64_t app = difference(addSaturated(pages->active, pages->inactive, pages->speculative),
                                         addSaturated(pages->purgeable, pages->external));
    metrics.appBytes = multiplySaturated(app, pageSize_);
    metrics.wiredBytes = multiplySaturated(pages->wired, pageSize_);
    metrics.compressedBytes = multiplySaturated(pages->compressor, pageSize_);
    metrics.pressureLevel =
        sysctlValue<std::int32_t>(platform_.sysctl, "kern.memorystatus_vm_pressure_level").value_or(0);
    if (const auto swap = sysctlValue<SwapUsage>(platform_.sysctl, "vm.swapusage")) {
        metrics.swapTotalBytes = swap->total;
        metrics.swapUsedBytes = swap->used;
    }
    return metrics;
}

}  // namespace zqm
