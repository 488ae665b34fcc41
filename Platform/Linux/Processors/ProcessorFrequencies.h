#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "Platform/Linux/Kernel/Cadence.h"
#include "Platform/Linux/Kernel/KernelFile.h"
#include "Platform/Linux/Processors/ProcessorKinds.h"
#include "Platform/Linux/Processors/Processors.h"
#include "Platform/Process/Clock.h"
#include "Support/Mutex.h"

namespace zqm {

/// Frequencies that a clock is said to run at, kHz, ascending. They stay the same as long as the program runs, since
/// readers ask for them once.
using ClockSteps = std::vector<std::uint32_t>;

/// `least` to `most` in even steps; only `most` when they do not form a range.
ClockSteps evenSteps(std::uint32_t least, std::uint32_t most);

/// A processor and the frequency that it has run at since it was last asked for.
struct ProcessorFrequency {
    ProcessorKind kind = ProcessorKind::performance;
    double kilohertz = 0;  // 0: offline, or not known
};

/// How fast the processors may run and do run, from cpufreq, or from /proc/cpuinfo where there is none. Callable from
/// any thread.
///
/// Processors that share a clock are read once. On some machines the present frequency takes milliseconds to find out:
/// reading stops when it has taken 20 ms of a tick, and goes on with the next clock in the next tick; what was not read
/// keeps its last value. A single file that takes longer is read the more rarely.
class ProcessorFrequencies {
public:
    ProcessorFrequencies(const RootDirectory& root, Processors& processors, Clock& clock);

    /// Empty when no processor is of this kind or nothing is known.
    ClockSteps steps(ProcessorKind kind);
    /// One per processor, in the order of Processors.
    std::vector<ProcessorFrequency> read();

private:
    struct StateTime {
        std::uint32_t kilohertz = 0;
        std::uint64_t ticks = 0;
        bool operator==(const StateTime&) const = default;
    };
    /// A clock that one or more processors share.
    struct Clockwork {
        std::string directory;
        std::optional<KernelFile> timeInState;
        KernelFile current;
        std::vector<StateTime> previous;
        double kilohertz = 0;
    };
    struct Member {
        unsigned number = 0;
        ProcessorKind kind = ProcessorKind::performance;
        std::optional<std::size_t> clockwork;  // absent: /proc/cpuinfo
        bool isOnline = true;
    };

    void discover() ZQM_REQUIRES(mutex_);
    void discoverClockwork(Member& member, const std::string& directory, std::map<unsigned, std::size_t>& byProcessor)
        ZQM_REQUIRES(mutex_);
    void settleSteps() ZQM_REQUIRES(mutex_);
    void refresh() ZQM_REQUIRES(mutex_);
    void readClockworks() ZQM_REQUIRES(mutex_);
    static void readClockwork(Clockwork& clockwork);
    void readProcessorInfo() ZQM_REQUIRES(mutex_);
    void readOnline() ZQM_REQUIRES(mutex_);

    const RootDirectory& root_;
    Processors& processors_;
    Clock& clock_;
    Mutex mutex_;
    Cadence discovery_ ZQM_GUARDED_BY(mutex_){Seconds(60)};
    Cadence reading_ ZQM_GUARDED_BY(mutex_){sameTick};
    std::vector<Member> members_ ZQM_GUARDED_BY(mutex_);
    std::vector<Clockwork> clockworks_ ZQM_GUARDED_BY(mutex_);
    std::map<ProcessorKind, ClockSteps> steps_ ZQM_GUARDED_BY(mutex_);
    std::map<unsigned, double> infoKilohertz_ ZQM_GUARDED_BY(mutex_);  // by processor number
    KernelFile info_ ZQM_GUARDED_BY(mutex_);
    KernelFile online_ ZQM_GUARDED_BY(mutex_);
    std::string lastOnline_ ZQM_GUARDED_BY(mutex_);
    Seconds spent_ ZQM_GUARDED_BY(mutex_){0};      // of reading time, beyond what earlier ticks were allowed
    std::size_t turn_ ZQM_GUARDED_BY(mutex_) = 0;  // the source that is read next; the last is /proc/cpuinfo
};

}  // namespace zqm
