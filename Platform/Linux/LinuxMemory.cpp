#include "Platform/Linux/LinuxMemory.h"

#include <algorithm>
#include <limits>
#include <string>
#include <utility>

#include "Platform/Linux/Kernel/KernelText.h"
#include "Support/Text.h"

namespace zqm {
namespace {

constexpr std::pair<std::string_view, MemoryInfo::Amount MemoryInfo::*> lines[]{
    {"MemTotal", &MemoryInfo::total},
    {"MemAvailable", &MemoryInfo::available},
    {"MemFree", &MemoryInfo::free},
    {"Buffers", &MemoryInfo::buffers},
    {"Cached", &MemoryInfo::cached},
    {"SReclaimable", &MemoryInfo::reclaimable},
    {"Shmem", &MemoryInfo::shared},
    {"SUnreclaim", &MemoryInfo::unreclaimable},
    {"KernelStack", &MemoryInfo::kernelStacks},
    {"PageTables", &MemoryInfo::pageTables},
    {"SecPageTables", &MemoryInfo::secondaryTables},
    {"Percpu", &MemoryInfo::perCpu},
    {"Unevictable", &MemoryInfo::unevictable},
    {"Mlocked", &MemoryInfo::locked},
    {"Hugetlb", &MemoryInfo::hugePages},
    {"Zswap", &MemoryInfo::zswap},
    {"SwapTotal", &MemoryInfo::swapTotal},
    {"SwapFree", &MemoryInfo::swapFree},
};

constexpr unsigned lookEvery = 100;  // listing a directory of sysfs costs more than reading all of /proc/meminfo

constexpr std::string_view initials = "BCHKMPSUZ";  // of the names above: most other lines are passed over by these

/// "  3857124 kB" in bytes.
MemoryInfo::Amount parseAmount(std::string_view text) {
    const auto kilobytes = takeCount(text);
    const bool fits = kilobytes && *kilobytes <= std::numeric_limits<std::int64_t>::max() / 1024;
    return fits ? std::optional(*kilobytes * 1024) : std::nullopt;
}

std::uint64_t sum(std::initializer_list<MemoryInfo::Amount> amounts) {
    std::uint64_t total = 0;
    for (const auto& amount : amounts) total = addSaturated(total, amount.value_or(0));
    return total;
}

}  // namespace

MemoryInfo parseMemoryInfo(std::string_view content) {
    MemoryInfo info;
    while (const auto line = takeLine(content)) {
        if (line->empty() || initials.find(line->front()) == std::string_view::npos) continue;
        std::string_view rest = *line;
        const std::string_view name = takeUntil(rest, ':');
        const auto* known =
            std::find_if(std::begin(lines), std::end(lines), [&](auto& each) { return each.first == name; });
        if (known != std::end(lines)) info.*known->second = parseAmount(rest);
    }
    return info;
}

std::optional<std::uint64_t> usedBytes(const MemoryInfo& info) {
    if (info.total.value_or(0) == 0) return std::nullopt;
    auto available = info.available;
    if (!available && info.free) {  // kernels before 3.14 leave the estimate to the reader
        const std::uint64_t given = sum({info.free, info.buffers, info.cached, info.reclaimable});
        available = given - std::min(given, info.shared.value_or(0));  // shared memory is cache that cannot be dropped
    }
    if (!available) return std::nullopt;
    return *info.total - std::min(*info.total, *available);
}

std::optional<VirtualMemoryPages> memoryPages(const MemoryInfo& info, std::uint64_t zram, std::uint64_t pageSize) {
    const auto used = usedBytes(info);
    if (!used || pageSize == 0) return std::nullopt;
    const std::uint64_t kernel =
        sum({info.unreclaimable, info.kernelStacks, info.pageTables, info.secondaryTables, info.perCpu});
    const std::uint64_t locked = std::max(sum({info.unevictable}), sum({info.locked}));  // the first holds the second
    const std::uint64_t wired = sum({kernel, locked, info.hugePages});
    VirtualMemoryPages pages;
    std::uint64_t rest = *used / pageSize;
    pages.wired = std::min(wired / pageSize, rest);
    rest -= pages.wired;
    pages.compressor = std::min(sum({info.zswap, zram}) / pageSize, rest);
    pages.active = rest - pages.compressor;
    return pages;
}

std::optional<MemoryInfo> MemoryInfoSource::readFile() {
    const auto content = file_.read();
    return content ? std::optional(parseMemoryInfo(*content)) : std::nullopt;
}

std::optional<MemoryInfo> MemoryInfoSource::read() {
    MutexLock lock(mutex_);
    last_ = readFile();
    return last_;
}

std::optional<MemoryInfo> MemoryInfoSource::takeLast() {
    MutexLock lock(mutex_);
    if (last_) return std::exchange(last_, std::nullopt);
    return readFile();
}

std::uint64_t ZramDevices::usedBytes() {
    if (readings_++ % lookEvery == 0) {
        statistics_.clear();
        for (const std::string& name : root_.names("/sys/block", "zram")) {
            statistics_.emplace_back(root_.path("/sys/block/" + name + "/mm_stat"));
        }
    }
    std::uint64_t used = 0;
    for (KernelFile& device : statistics_) {
        std::string_view rest = device.read().value_or("");
        std::string_view content = takeLine(rest).value_or("");
        skipFields(content, 2);  // bytes before and after compression; then what the device really occupies
        used = addSaturated(used, takeCount(content).value_or(0));
    }
    return used;
}

}  // namespace zqm
