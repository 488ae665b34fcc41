#include "Platform/Linux/Processes/ProcessScan.h"

#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

#include "Platform/Linux/Kernel/KernelText.h"
#include "Platform/Linux/Processes/ProcessFiles.h"
#include "Support/CounterRate.h"
#include "Support/Saturated.h"
#include "Support/Text.h"

namespace zqm {
namespace {

constexpr std::uint64_t nanosecondsPerSecond = 1'000'000'000;
constexpr Seconds shortestInterval{0.1};  // ten ticks: below, one tick more or less decides the figure
constexpr Seconds memory{30};             // of the measure of activity
constexpr int renewalSeconds = 60;
constexpr std::uint64_t kernelThreadFlag = 0x200000;

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
    skipFields(rest, 6);  // state … tpgid
    const auto flags = takeCount(rest);
    skipFields(rest, 4);  // minflt … cmajflt
    const auto user = takeCount(rest);
    const auto system = takeCount(rest);
    skipFields(rest, 6);  // cutime … itrealvalue
    const auto start = takeCount(rest);
    skipFields(rest, 1);  // vsize
    const auto resident = takeCount(rest);
    // A figure with nothing behind it may have been cut.
    if (!user || !system || !start || !resident || rest.empty()) return std::nullopt;
    return ProcessStat{.name = text.substr(open + 1, close - open - 1),
                       .isKernelThread = (flags.value_or(0) & kernelThreadFlag) != 0,
                       .userTicks = *user,
                       .systemTicks = *system,
                       .startTicks = *start,
                       .residentPages = *resident};
}

ProcessScan::ProcessScan(const RootDirectory& root, Clock& clock, PackageEnergySource packageEnergy)
    : root_(root),
      clock_(clock),
      busyPower_(root, std::move(packageEnergy)),
      uptimeFile_(root.path("/proc/uptime")),
      nanosecondsPerTick_(nanosecondsPerSecond / static_cast<std::uint64_t>(std::max(1L, ::sysconf(_SC_CLK_TCK)))),
      pageSize_(static_cast<std::uint64_t>(std::max(1L, ::sysconf(_SC_PAGESIZE)))) {}

bool ProcessScan::pass() {
    const DirectoryStream stream(::opendir(root_.path("/proc").c_str()));
    if (!stream) return false;
    const int directory = ::dirfd(stream.get());
    listNumbers(stream.get());
    beginPass(directory);
    std::vector<LinuxProcess> arrivals;
    auto known = processes_.begin();
    auto kept = known;
    for (const std::int32_t pid : pids_) {
        while (known != processes_.end() && isBefore(*known, pid)) ++known;
        if (known == processes_.end() || known->row.pid != pid) {
            arrivals.emplace_back().row.pid = pid;
            if (!look(arrivals.back(), directory)) arrivals.pop_back();
        } else {
            if (look(*known, directory)) {
                if (kept != known) *kept = std::move(*known);
                ++kept;
            }
            ++known;
        }
    }
    const auto middle = processes_.erase(kept, processes_.end()) - processes_.begin();
    processes_.insert(processes_.end(), std::move_iterator(arrivals.begin()), std::move_iterator(arrivals.end()));
    std::inplace_merge(processes_.begin(), processes_.begin() + middle, processes_.end(),
                       [](const LinuxProcess& a, const LinuxProcess& b) { return a.row.pid < b.row.pid; });
    shareEnergy();
    return true;
}

LinuxProcess* ProcessScan::find(std::int32_t pid) {
    const auto found = std::lower_bound(processes_.begin(), processes_.end(), pid, isBefore);
    return found != processes_.end() && found->row.pid == pid ? &*found : nullptr;
}

void ProcessScan::listNumbers(DIR* directory) {
    pids_.clear();
    while (const dirent* entry = ::readdir(directory)) {
        if (const auto pid = parseProcessNumber(entry->d_name)) pids_.push_back(*pid);
    }
    std::sort(pids_.begin(), pids_.end());  // procfs lists them so already
}

void ProcessScan::beginPass(int directory) {
    const MonotonicTime now = clock_.monotonic();
    interval_ = passTime_ ? std::max(now - *passTime_, shortestInterval) : shortestInterval;
    passTime_ = now;
    fading_ = 1 - std::exp(-interval_ / memory);
    uptime_ = uptime();
    hasClocks_ = root_.isThisMachine() && showsOwnNumbers(directory);
}

/// On this machine by the clock: a container may put a file in the place of /proc/uptime that counts from the
/// container's start, while the processes' times count from the machine's.
std::optional<Seconds> ProcessScan::uptime() {
    if (root_.isThisMachine()) return clock_.continuous().time_since_epoch();
    std::string_view text = uptimeFile_.read().value_or("");
    const auto seconds = parseDouble(takeWord(text));
    return seconds ? std::optional(Seconds(*seconds)) : std::nullopt;
}

/// False when it is gone, or its file cannot be read or understood.
bool ProcessScan::look(LinuxProcess& process, int directory) {
    const std::int32_t pid = process.row.pid;
    const std::uint64_t clock = hasClocks_ ? processorTime(pid) : 0;
    // Another process with the same number never stands at the same nanosecond, unless neither has run.
    if (clock != 0 && clock == process.processorTime && *passTime_ < process.renewal) {
        process.hasRun = false;
        process.row.cpuPercent = 0;
        process.activity -= process.activity * fading_;
        return true;
    }
    const auto text = readProcessFile(directory, ProcessPath(pid, "stat").text(), buffer_);
    const auto stat = text ? parseProcessStat(*text) : std::nullopt;
    if (!stat) return false;
    const bool isNew = process.renewal == MonotonicTime() || process.row.startTime != stat->startTicks;
    if (isNew) {
        process = LinuxProcess();
        process.row.pid = pid;
    }
    take(process, isNew, *stat, clock);
    return true;
}

void ProcessScan::take(LinuxProcess& process, bool isNew, const ProcessStat& stat, std::uint64_t clock) {
    const MonotonicTime now = *passTime_;
    if (isNew) process.renewal = now + Seconds(1 + process.row.pid % renewalSeconds);  // not all in the same pass
    if (!isNew && (now >= process.renewal || process.row.name != stat.name)) {
        process.renewal = now + Seconds(renewalSeconds);
        process.hidesDisk = false;
    }
    process.row.startTime = stat.startTicks;
    process.row.name = stat.name;
    process.row.residentBytes = multiplySaturated(stat.residentPages, pageSize_);
    process.isKernelThread = stat.isKernelThread;
    process.userTicks = stat.userTicks;
    process.systemTicks = stat.systemTicks;
    const std::uint64_t ticks = addSaturated(stat.userTicks, stat.systemTicks);
    const std::uint64_t before =
        std::exchange(process.processorTime, clock != 0 ? clock : multiplySaturated(ticks, nanosecondsPerTick_));
    process.hasRun = isNew || process.processorTime != before;
    process.row.cpuPercent = processorPercent(process, isNew, before);
    process.activity += (process.row.cpuPercent - process.activity) * fading_;
}

double ProcessScan::processorPercent(const LinuxProcess& process, bool isNew, std::uint64_t before) const {
    Seconds time = interval_;
    if (isNew) {
        if (!uptime_) return 0;
        // One that began since the last pass did all its work since then; an older one is averaged over its life.
        const double start = static_cast<double>(process.row.startTime) * static_cast<double>(nanosecondsPerTick_);
        time = std::max(time, *uptime_ - Seconds(start / nanosecondsPerSecond));
    }
    return 100 * static_cast<double>(growth(before, process.processorTime)) / nanosecondsPerSecond / time.count();
}

void ProcessScan::shareEnergy() {
    double percent = 0;
    for (const LinuxProcess& process : processes_) percent += process.row.cpuPercent;
    const double joules = busyPower_.update(*passTime_, interval_ * (percent / 100));
    if (!(joules > 0)) return;
    for (LinuxProcess& process : processes_) {
        process.energy += joules * (process.row.cpuPercent / 100) * interval_.count() * nanosecondsPerSecond;
    }
}

}  // namespace zqm
