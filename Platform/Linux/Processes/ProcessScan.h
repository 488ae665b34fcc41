#pragma once

#include <dirent.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "Platform/Linux/Kernel/KernelFile.h"
#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Linux/Processes/BusyPower.h"
#include "Platform/Machine/ProcessTable.h"
#include "Platform/Process/Clock.h"

namespace zqm {

/// What a pass reads of a process from /proc/PID/stat.
struct ProcessStat {
    std::string_view name;  // points into the text
    bool isKernelThread = false;
    std::uint64_t userTicks = 0;
    std::uint64_t systemTicks = 0;
    std::uint64_t startTicks = 0;  // after the machine's start
    std::uint64_t residentPages = 0;
};

/// nullopt when the text is malformed or cut. The name ends at the last ')': it may hold any byte but NUL.
std::optional<ProcessStat> parseProcessStat(std::string_view text);

/// What is known of a process from pass to pass, until it ends.
struct LinuxProcess {
    ProcessRow row;  // startTime: ticks after the machine's start
    std::uint64_t userTicks = 0;
    std::uint64_t systemTicks = 0;
    std::uint64_t processorTime = 0;  // nanoseconds
    double activity = 0;              // mean of cpuPercent that fades within half a minute
    double energy = 0;                // nanojoules since the first pass
    MonotonicTime renewal;            // when it is read even if it has not run, and refusals are forgotten
    bool hasRun = true;               // new, or used processor time since the last pass
    bool isKernelThread = false;
    bool hidesDisk = false;  // this user was refused its disk counters; forgotten every minute, and with the name
};

/// The processes of the machine, as the last pass over /proc found them. One thread at a time.
class ProcessScan {
public:
    /// Without `packageEnergy` no process is given any energy.
    ProcessScan(const RootDirectory& root, Clock& clock, PackageEnergySource packageEnergy);

    /// Looks at every process. On this machine the kernel tells without a file which of them have run; only those are
    /// read, the others once a minute, since memory may be taken from them. False, with the previous state kept, when
    /// /proc cannot be listed.
    bool pass();

    /// Ascending by pid; empty before the first pass.
    std::vector<LinuxProcess>& all() { return processes_; }
    /// Null when the last pass did not meet it. Valid until the next pass.
    LinuxProcess* find(std::int32_t pid);

    std::uint64_t nanosecondsPerTick() const { return nanosecondsPerTick_; }
    std::uint64_t pageSize() const { return pageSize_; }

private:
    void listNumbers(DIR* directory);
    void beginPass(int directory);
    std::optional<Seconds> uptime();
    bool look(LinuxProcess& process, int directory);
    void take(LinuxProcess& process, bool isNew, const ProcessStat& stat, std::uint64_t clock);
    double processorPercent(const LinuxProcess& process, bool isNew, std::uint64_t before) const;
    void shareEnergy();

    const RootDirectory& root_;
    Clock& clock_;
    BusyPower busyPower_;
    KernelFile uptimeFile_;
    const std::uint64_t nanosecondsPerTick_;
    const std::uint64_t pageSize_;

    std::optional<MonotonicTime> passTime_;
    Seconds interval_{0};                  // between the last two passes
    double fading_ = 0;                    // share of the activity that the last interval replaced
    std::optional<Seconds> uptime_;        // at the last pass
    bool hasClocks_ = false;               // the kernel tells the processor time of the numbers in /proc
    std::vector<LinuxProcess> processes_;  // ascending by pid
    std::vector<std::int32_t> pids_;       // of the current pass; kept for its memory
    std::array<char, 4096> buffer_{};
};

}  // namespace zqm
