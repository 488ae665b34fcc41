#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "Platform/Linux/Kernel/KernelFile.h"
#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Machine/ProcessTable.h"
#include "Platform/Process/Clock.h"

namespace zqm {

/// What one pass reads of a process from /proc/PID/stat.
struct ProcessStat {
    std::string_view name;  // points into the text
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
    bool hasRun = true;             // new, or its ticks moved since the last pass
    double energy = 0;              // nanojoules since the first pass
    std::uint64_t sockets = 0;      // internet sockets, when last looked at
    bool hidesDescriptors = false;  // this user may not list them
    bool hidesDisk = false;         // this user may not see its disk counters
};

/// Cumulative energy of the processor packages in millijoules; nullopt where it cannot be read.
using PackageEnergySource = std::function<std::optional<double>()>;

/// The processes of the machine, as the last pass over /proc found them. One thread at a time.
class ProcessScan {
public:
    /// Without `packageEnergy` no process is given any energy.
    ProcessScan(const RootDirectory& root, Clock& clock, PackageEnergySource packageEnergy);

    /// Looks at every process: one file read each. False, with the previous state kept, when /proc cannot be listed.
    bool pass();

    /// Ascending by pid; empty before the first pass.
    std::vector<LinuxProcess>& all() { return processes_; }
    /// Null when the last pass did not meet it. Valid until the next pass.
    LinuxProcess* find(std::int32_t pid);

    double ticksPerSecond() const { return ticksPerSecond_; }

private:
    std::optional<Seconds> uptime();
    double processorPercent(const ProcessStat& stat, const LinuxProcess* known) const;
    void add(std::int32_t pid, const ProcessStat& stat, const LinuxProcess* known);
    void shareEnergy();

    const RootDirectory& root_;
    Clock& clock_;
    PackageEnergySource packageEnergy_;
    KernelFile uptimeFile_;
    const double ticksPerSecond_;
    const std::uint64_t pageSize_;

    std::optional<MonotonicTime> passTime_;
    Seconds interval_{0};                  // between the last two passes
    std::optional<Seconds> uptime_;        // at the last pass
    std::optional<double> energyBefore_;   // millijoules
    std::vector<LinuxProcess> processes_;  // ascending by pid
    std::vector<LinuxProcess> previous_;   // of the pass before; between passes only its memory matters
    std::vector<std::int32_t> pids_;       // of the current pass; kept for its memory
    std::array<char, 4096> buffer_{};
};

}  // namespace zqm
