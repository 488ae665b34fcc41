#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Linux/Kernel/Cadence.h"
#include "Platform/Linux/Kernel/KernelFile.h"
#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Process/Clock.h"
#include "Support/Mutex.h"

namespace zqm {

/// An energy counter of the processor (RAPL) as one that only grows.
class EnergyCounter {
public:
    /// The counter starts again from 0 at `range` µJ; 0: not known.
    EnergyCounter(KernelFile file, std::uint64_t range) : file_(std::move(file)), range_(range) {}

    /// The growth since the last reading, µJ; 0 on the first, when the counter cannot be read, or when it started anew.
    std::uint64_t read(MonotonicTime now);

private:
    KernelFile file_;
    std::uint64_t range_;
    std::optional<std::uint64_t> last_;
    MonotonicTime lastTime_{};
};

/// What one processor package has used since the program first looked, µJ.
struct PackageEnergy {
    std::string name;             // "package-0"
    std::uint64_t processor = 0;  // all of the package but its GPU
    std::optional<std::uint64_t> gpu;
    std::optional<std::uint64_t> memory;
};

/// The energy counters of the powercap tree that this user may read. Most kernels show them to root alone; what cannot
/// be read when the program starts is never tried again. Callable from any thread.
class EnergyZones {
public:
    EnergyZones(const RootDirectory& root, Clock& clock) : root_(root), clock_(clock) {}

    std::vector<PackageEnergy> read();
    /// All that the packages have used, their GPUs included, mJ; nullopt when none can be read.
    std::optional<double> packageMillijoules();
    /// Power of the whole machine since the last call, watts; nullopt on the first call and on machines without such a
    /// counter.
    std::optional<double> systemPower();
    bool hasSystemCounter();

private:
    struct Package {
        PackageEnergy energy;
        EnergyCounter package;
        std::optional<EnergyCounter> gpu;
        std::optional<EnergyCounter> memory;
    };
    void discover() ZQM_REQUIRES(mutex_);
    void discoverParts(Package& package, const std::string& zone) ZQM_REQUIRES(mutex_);
    std::optional<EnergyCounter> counter(const std::string& directory) const;

    const RootDirectory& root_;
    Clock& clock_;
    Mutex mutex_;
    bool isDiscovered_ ZQM_GUARDED_BY(mutex_) = false;
    Cadence reading_ ZQM_GUARDED_BY(mutex_){sameTick};
    std::vector<Package> packages_ ZQM_GUARDED_BY(mutex_);
    std::optional<EnergyCounter> system_ ZQM_GUARDED_BY(mutex_);
    std::optional<MonotonicTime> systemTime_ ZQM_GUARDED_BY(mutex_);
};

}  // namespace zqm
