#include "Platform/Linux/Processes/ProcessScan.h"

#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "Platform/Linux/Kernel/KernelText.h"
#include "Platform/Linux/Processes/ProcessFiles.h"
#include "Support/Saturated.h"
#include "Support/Text.h"

namespace zqm {
namespace {

constexpr Seconds shortestInterval{0.1};  // ten ticks: below, one tick more or less decides the figure

bool isBefore(const LinuxProcess& process, std::int32_t pid) {
    return process.row.pid < pid;
}

}  // namespace

std::optional<ProcessStat> parseProcessStat(std::string_view text) {
    const std::size_t open = text.find('(');
    // Faster than rfind; the figures behind the name are most of the text.
    const void* const last = text.empty() ? nullptr : ::memrchr(text.data(), ')', text.size());
    if (open == std::string_view::npos || !last) return std::nullopt;
    const auto close = static_cast<std::size_t>(static_cast<const char*>(last) - text.data());
    if (close < open) return std::nullopt;
    std::string_view rest = text.substr(close + 1);
    skipFields(rest, 11);  // state … cmajflt
    const auto user = takeCount(rest);
    const auto system = takeCount(rest);
    skipFields(rest, 6);  // cutime … itrealvalue
    const auto start = takeCount(rest);
    skipFields(rest, 1);  // vsize
    const auto resident = takeCount(rest);
    // A figure with nothing behind it may have been cut.
    if (!user || !system || !start || !resident || rest.empty()) return std::nullopt;
    return ProcessStat{.name = text.substr(open + 1, close - open - 1),
                       .userTicks = *user,
                       .systemTicks = *system,
                       .startTicks = *start,
                       .residentPages = *resident};
}

ProcessScan::ProcessScan(const RootDirectory& root, Clock& clock, PackageEnergySource packageEnergy)
    : root_(root),
      clock_(clock),
      packageEnergy_(std::move(packageEnergy)),
      uptimeFile_(root.path("/proc/uptime")),
      ticksPerSecond_(static_cast<double>(std::max(1L, ::sysconf(_SC_CLK_TCK)))),
      pageSize_(static_cast<std::uint64_t>(std::max(1L, ::sysconf(_SC_PAGESIZE)))) {}

bool ProcessScan::pass() {
    const DirectoryStream directory(::opendir(root_.path("/proc").c_str()));
    if (!directory) return false;
    pids_.clear();
    while (const dirent* entry = ::readdir(directory.get())) {
        if (const auto pid = parseProcessNumber(entry->d_name)) pids_.push_back(*pid);
    }
    std::sort(pids_.begin(), pids_.end());  // procfs lists them so already

    const MonotonicTime now = clock_.monotonic();
    interval_ = passTime_ ? std::max(now - *passTime_, shortestInterval) : shortestInterval;
    passTime_ = now;
    uptime_ = uptime();
    previous_.swap(processes_);
    processes_.clear();
    processes_.reserve(pids_.size());
    auto known = previous_.cbegin();
    for (const std::int32_t pid : pids_) {
        const auto text = readProcessFile(::dirfd(directory.get()), ProcessPath(pid, "stat").text(), buffer_);
        const auto stat = text ? parseProcessStat(*text) : std::nullopt;
        if (!stat) continue;
        while (known != previous_.cend() && isBefore(*known, pid)) ++known;
        const bool same =
            known != previous_.cend() && known->row.pid == pid && known->row.startTime == stat->startTicks;
        add(pid, *stat, same ? &*known : nullptr);
    }
    shareEnergy();
    return true;
}

LinuxProcess* ProcessScan::find(std::int32_t pid) {
    const auto found = std::lower_bound(processes_.begin(), processes_.end(), pid, isBefore);
    return found != processes_.end() && found->row.pid == pid ? &*found : nullptr;
}

/// On this machine by the clock: a container may put a file in the place of /proc/uptime that counts from the
/// container's start, while the processes' times count from the machine's.
std::optional<Seconds> ProcessScan::uptime() {
    if (root_.path("").empty()) return clock_.continuous().time_since_epoch();
    std::string_view text = uptimeFile_.read().value_or("");
    const auto seconds = parseDouble(takeWord(text));
    return seconds ? std::optional(Seconds(*seconds)) : std::nullopt;
}

double ProcessScan::processorPercent(const ProcessStat& stat, const LinuxProcess* known) const {
    const std::uint64_t ticks = addSaturated(stat.userTicks, stat.systemTicks);
    const std::uint64_t before = known ? addSaturated(known->userTicks, known->systemTicks) : 0;
    Seconds time = interval_;
    if (!known) {
        if (!uptime_) return 0;
        // One that began since the last pass did all its work since then; an older one is averaged over its life.
        time = std::max(time, *uptime_ - Seconds(static_cast<double>(stat.startTicks) / ticksPerSecond_));
    }
    return ticks > before ? 100 * static_cast<double>(ticks - before) / ticksPerSecond_ / time.count() : 0;
}

void ProcessScan::add(std::int32_t pid, const ProcessStat& stat, const LinuxProcess* known) {
    LinuxProcess& process = processes_.emplace_back();
    process.row.pid = pid;
    process.row.startTime = stat.startTicks;
    process.row.name = stat.name;
    process.row.cpuPercent = processorPercent(stat, known);
    process.row.residentBytes = multiplySaturated(stat.residentPages, pageSize_);
    process.userTicks = stat.userTicks;
    process.systemTicks = stat.systemTicks;
    process.hasRun = !known || known->userTicks != process.userTicks || known->systemTicks != process.systemTicks;
    if (!known) return;
    process.energy = known->energy;
    process.sockets = known->sockets;
    process.hidesDescriptors = known->hidesDescriptors;
    process.hidesDisk = known->hidesDisk;
}

/// Gives what the packages used since the last pass to the processes in proportion to their processor time.
void ProcessScan::shareEnergy() {
    if (!packageEnergy_) return;
    const std::optional<double> before = energyBefore_;
    energyBefore_ = packageEnergy_();
    if (!before || !energyBefore_) return;
    constexpr double nanojoulesPerMillijoule = 1e6;
    const double used = (*energyBefore_ - *before) * nanojoulesPerMillijoule;
    double busy = 0;
    for (const LinuxProcess& process : processes_) busy += process.row.cpuPercent;
    if (!(used > 0) || !std::isfinite(used) || !(busy > 0)) return;
    for (LinuxProcess& process : processes_) process.energy += used * (process.row.cpuPercent / busy);
}

}  // namespace zqm
