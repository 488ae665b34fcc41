#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <optional>

#include "Platform/Linux/Kernel/KernelFile.h"
#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Process/Clock.h"

namespace zqm {

/// Cumulative energy of the processor packages in millijoules; nullopt where it cannot be read.
using PackageEnergySource = std::function<std::optional<double>()>;

/// What a second of processor time costs: the energy of the packages above their floor (the least power seen so far,
/// which an idle machine draws too and which belongs to nobody) by the busy time of all processors in /proc/stat, so
/// that work of processes that are hidden or have ended is charged to nobody else. One thread at a time.
class BusyPower {
public:
    /// Without `energy` everything costs nothing.
    BusyPower(const RootDirectory& root, PackageEnergySource energy);

    /// Joules per second of processor time between the last call and this one; 0 when a source does not tell.
    /// `seenTime` is what known processes used meanwhile: the time shared is never less.
    double update(MonotonicTime now, Seconds seenTime);

private:
    struct Reading {
        MonotonicTime time;
        std::optional<double> millijoules;
        std::optional<Seconds> busy;  // only beside energy
    };
    std::optional<Seconds> busyTime();

    const RootDirectory& root_;
    PackageEnergySource energy_;
    KernelFile statistics_;
    std::optional<Reading> last_;
    double floor_ = std::numeric_limits<double>::infinity();  // watts
};

}  // namespace zqm
