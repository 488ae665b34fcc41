#include "Platform/Linux/LinuxSysctl.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "Platform/Linux/Kernel/KernelText.h"
#include "Platform/Linux/Processors/ProcessorKinds.h"
#include "Support/Text.h"

namespace zqm {
namespace {

constexpr double stallPercent = 10;

template <class Value>
Bytes bytesOf(const Value& value) {
    Bytes bytes(sizeof value);
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

Bytes bytesOfText(std::string_view text) {
    Bytes bytes(text.begin(), text.end());
    bytes.push_back(0);
    return bytes;
}

/// The share of the last ten seconds in "some avg10=0.10 avg60=…", in percent.
std::optional<double> shareOfTenSeconds(std::string_view content, std::string_view kind) {
    while (auto line = takeLine(content)) {
        if (takeField(*line) != kind) continue;
        std::string_view share = takeField(*line);
        return takeUntil(share, '=') == "avg10" ? parseDouble(share) : std::nullopt;
    }
    return std::nullopt;
}

}  // namespace

std::optional<Bytes> LinuxSysctl::read(std::string_view name) {
    constexpr std::string_view levelPrefix = "hw.perflevel";
    if (name == "hw.memsize") return memorySize();
    if (name == "vm.swapusage") return swapUsage();
    if (name == "kern.memorystatus_vm_pressure_level") return pressureLevel();
    if (name == "hw.nperflevels") return levelCount();
    if (name.starts_with(levelPrefix)) return levelValue(name.substr(levelPrefix.size()));
    return std::nullopt;
}

std::optional<Bytes> LinuxSysctl::memorySize() {
    const auto info = memory_.read();
    if (!info || info->total.value_or(0) == 0) return std::nullopt;
    return bytesOf(*info->total);
}

std::optional<Bytes> LinuxSysctl::swapUsage() {
    const auto info = memory_.takeLast();
    if (!info || !info->swapTotal || !info->swapFree) return std::nullopt;
    struct {
        std::uint64_t total, available, used;
        std::uint32_t pageSize, encrypted;
    } record{};
    static_assert(sizeof record == 32);
    record.total = *info->swapTotal;
    record.available = std::min(*info->swapFree, record.total);
    record.used = record.total - record.available;
    record.pageSize = static_cast<std::uint32_t>(std::max(0L, ::sysconf(_SC_PAGESIZE)));
    return bytesOf(record);
}

/// Tasks that stand still until memory is there are what a person notices: a tenth of the time for some of them is a
/// warning, for all of them at once critical.
std::optional<Bytes> LinuxSysctl::pressureLevel() {
    MutexLock lock(mutex_);
    const auto content = pressure_.read();
    if (!content) return std::nullopt;
    const auto some = shareOfTenSeconds(*content, "some");
    if (!some) return std::nullopt;
    const double full = shareOfTenSeconds(*content, "full").value_or(0);
    return bytesOf<std::int32_t>(full >= stallPercent ? 4 : *some >= stallPercent ? 2 : 1);
}

/// The kinds of processors, the fastest first; middle ones belong to the performance level.
std::vector<LinuxSysctl::Level> LinuxSysctl::levels() {
    const auto kinds = readProcessorKinds(root_, processors_.numbers());
    const auto small = std::count(kinds.begin(), kinds.end(), ProcessorKind::efficiency);
    const auto large = static_cast<std::ptrdiff_t>(kinds.size()) - small;
    std::vector<Level> levels;
    if (large > 0) levels.push_back({"Performance", static_cast<std::int32_t>(large)});
    if (small > 0) levels.push_back({"Efficiency", static_cast<std::int32_t>(small)});
    return levels;
}

std::optional<Bytes> LinuxSysctl::levelCount() {
    const auto count = static_cast<std::int32_t>(levels().size());
    return count > 0 ? std::optional(bytesOf(count)) : std::nullopt;
}

/// `key` is the level's number with what is asked about it: "0.name", "1.physicalcpu".
std::optional<Bytes> LinuxSysctl::levelValue(std::string_view key) {
    const auto all = levels();
    const auto level = parseUnsigned(takeUntil(key, '.'));
    if (!level || *level >= all.size()) return std::nullopt;
    if (key == "name") return bytesOfText(all[*level].name);
    if (key == "physicalcpu") return bytesOf(all[*level].processors);
    return std::nullopt;
}

}  // namespace zqm
