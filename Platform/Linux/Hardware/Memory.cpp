#include "Platform/Linux/Hardware/Memory.h"

#include <algorithm>
#include <limits>
#include <string>
#include <utility>

#include "Platform/Linux/Kernel/KernelText.h"
#include "Support/Saturated.h"
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

constexpr double stallPercent = 10;

/// The share of the last ten seconds in "some avg10=0.10 avg60=…", in percent.
std::optional<double> shareOfTenSeconds(std::string_view content, std::string_view kind) {
    while (auto line = takeLine(content)) {
        if (takeWord(*line) != kind) continue;
        std::string_view share = takeWord(*line);
        return takeUntil(share, '=') == "avg10" ? parseDouble(share) : std::nullopt;
    }
    return std::nullopt;
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

/// What the cache of ZFS gives back when memory is wanted: all above its least size. The kernel does not count that as
/// available.
std::uint64_t Memory::givenBackByZfs() {
    std::uint64_t size = 0;
    std::uint64_t least = 0;
    std::string_view rest = zfs_.read().value_or("");
    while (auto line = takeLine(rest)) {
        const std::string_view name = takeWord(*line);
        if (name != "size" && name != "c_min") continue;
        skipFields(*line, 1);  // type
        (name == "size" ? size : least) = takeCount(*line).value_or(0);
    }
    return size - std::min(size, least);
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

Memory::Memory(const RootDirectory& root)
    : root_(root),
      info_(root.path("/proc/meminfo")),
      pressure_(root.path("/proc/pressure/memory")),
      zfs_(root.path("/proc/spl/kstat/zfs/arcstats")),
      zram_(root) {}

std::optional<MemoryReading> Memory::read() {
    const auto content = info_.read();
    if (!content) return std::nullopt;
    const MemoryInfo info = parseMemoryInfo(*content);
    auto used = usedBytes(info);
    if (!used) return std::nullopt;
    *used -= std::min(*used, givenBackByZfs());
    const std::uint64_t kernel =
        sum({info.unreclaimable, info.kernelStacks, info.pageTables, info.secondaryTables, info.perCpu});
    const std::uint64_t locked = std::max(sum({info.unevictable}), sum({info.locked}));  // the first holds the second
    MemoryReading memory;
    memory.total = *info.total;
    memory.wired = std::min(sum({kernel, locked, info.hugePages}), *used);
    memory.compressed = std::min(sum({info.zswap, zram_.usedBytes()}), *used - memory.wired);
    memory.app = *used - memory.wired - memory.compressed;
    if (info.swapTotal && info.swapFree) {
        memory.swapTotal = *info.swapTotal;
        memory.swapUsed = *info.swapTotal - std::min(*info.swapFree, *info.swapTotal);
    }
    memory.pressureLevel = pressureLevel();
    return memory;
}

/// Tasks that stand still until memory is there are what a person notices: a tenth of the time for some of them is a
/// warning, for all of them at once critical.
std::int64_t Memory::pressureLevel() {
    const std::string_view content = pressure_.read().value_or("");
    const auto some = shareOfTenSeconds(content, "some");
    if (!some) return 0;
    if (shareOfTenSeconds(content, "full").value_or(0) >= stallPercent) return 4;
    return *some >= stallPercent ? 2 : 1;
}

SourceDescription Memory::describe(MetricFamily family) const {
    if (family != MetricFamily::memoryPressure) return root_.describe(info_);
    SourceDescription source = root_.describe(pressure_);
    if (!source.absence.empty()) {
        source.absence += " (the kernel keeps no pressure stall information, or was booted with psi=0)";
    }
    return source;
}

}  // namespace zqm
