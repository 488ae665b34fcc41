#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Linux/Kernel/Cadence.h"
#include "Platform/Linux/Kernel/KernelFile.h"
#include "Platform/Linux/Processors/ProcessorKinds.h"
#include "Platform/Linux/Processors/Processors.h"
#include "Platform/Process/Clock.h"

namespace zqm {

/// How fast the processors may run and do run, from cpufreq, or from /proc/cpuinfo where there is none. One thread at a
/// time.
///
/// Processors that share a clock are read once. On some machines the present frequency takes milliseconds to find out:
/// reading stops when it has taken 20 ms of a tick, and goes on with the next clock in the next tick; what was not read
/// keeps its last value. A single file that takes longer is read the more rarely.
class ProcessorClocks {
public:
    ProcessorClocks(const RootDirectory& root, Processors& processors, Clock& clock);

    /// One per processor, in the order of Processors; empty where no clock is told.
    std::vector<ProcessorClock> read();
    SourceDescription describe();

private:
    struct StateTime {
        std::uint32_t kilohertz = 0;
        std::uint64_t ticks = 0;
    };
    /// A clock that one or more processors share.
    struct Policy {
        std::optional<KernelFile> timeInState;
        std::optional<KernelFile> current;
        std::vector<StateTime> times;  // as read last
        double megahertz = 0;
        double mostMegahertz = 0;
    };
    struct Member {
        unsigned number = 0;
        ProcessorKind kind = ProcessorKind::performance;
        std::optional<std::size_t> policy;  // absent: /proc/cpuinfo
        bool isOnline = true;
        double infoMegahertz = 0;  // from there
    };

    void discover();
    void discoverPolicy(Member& member, const std::string& directory, std::map<unsigned, std::size_t>& byProcessor);
    void readInTurn();
    static void readPolicy(Policy& policy);
    static bool isTold(const Policy& policy) { return policy.timeInState || policy.current; }
    void readProcessorInfo();
    void readOnline();
    Member* find(std::uint64_t number);

    const RootDirectory& root_;
    Processors& processors_;
    Clock& clock_;
    Cadence discovery_{Seconds(60)};
    std::vector<Member> members_;  // ascending by number
    std::vector<Policy> policies_;
    bool isMeasured_ = false;  // the kernel counts cycles: the present frequency is the one that ran, boost included
    KernelFile info_;
    KernelFile online_;
    std::string lastOnline_;
    Seconds spent_{0};      // of reading time, beyond what earlier ticks were allowed
    std::size_t turn_ = 0;  // the source that is read next; the last is /proc/cpuinfo
};

}  // namespace zqm
