#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Linux/Hardware/EnergyCounter.h"
#include "Platform/Linux/Kernel/Cadence.h"
#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Machine/MachineReadings.h"
#include "Platform/Machine/SourceReport.h"
#include "Platform/Process/Clock.h"
#include "Support/Mutex.h"

namespace zqm {

/// The energy counters of the powercap tree that this user may read. Most kernels show them to root alone; where none
/// of the packages can be read, it is tried again every minute. Callable from any thread.
class EnergyZones {
public:
    EnergyZones(const RootDirectory& root, Clock& clock) : root_(root), clock_(clock) {}

    /// All zones of a kind together. What a processor uses is all of its package but the GPU.
    EnergyReading read();
    /// All that the packages have used, their GPUs included, mJ; nullopt when none can be read.
    std::optional<double> packageMillijoules();
    SourceDescription describe(MetricFamily family);

private:
    struct Package {
        EnergyCounter whole;
        std::optional<EnergyCounter> gpu;
        std::optional<EnergyCounter> memory;
    };
    void discover() ZQM_REQUIRES(mutex_);
    void discoverParts(Package& package, const std::string& zone) ZQM_REQUIRES(mutex_);
    std::optional<EnergyCounter> counter(const std::string& directory) const;

    const RootDirectory& root_;
    Clock& clock_;
    Mutex mutex_;
    Cadence discovery_ ZQM_GUARDED_BY(mutex_){Seconds(60)};
    std::vector<Package> packages_ ZQM_GUARDED_BY(mutex_);
    std::optional<EnergyCounter> system_ ZQM_GUARDED_BY(mutex_);
    struct Totals {  // µJ
        std::uint64_t processors = 0;
        std::optional<std::uint64_t> gpus, memory, system;
    };
    Totals totals_ ZQM_GUARDED_BY(mutex_);
};

}  // namespace zqm
