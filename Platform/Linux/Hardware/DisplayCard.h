#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Platform/Linux/Hardware/CardSensors.h"
#include "Platform/Linux/Kernel/KernelFile.h"
#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Machine/MachineReadings.h"
#include "Platform/Machine/SourceReport.h"

namespace zqm {

/// A graphics card of one of the kernel's display drivers. To make one asks the card nothing. One thread at a time.
class DisplayCard {
public:
    /// `name` in /sys/class/drm: "card0".
    DisplayCard(const RootDirectory& root, const std::string& name);

    /// All that it tells now but its name and the time.
    GraphicsReading read(MonotonicTime now);
    /// The same of a card that sleeps, which is not asked.
    GraphicsReading readAsleep();
    /// The file that a family was read from last; null where there is none. Use and clock always have one.
    const KernelFile* file(MetricFamily family) const;

private:
    /// A part of a card with a clock of its own (i915, xe).
    struct Engine {
        KernelFile megahertz;
        KernelFile idleTime;  // ms since the start
    };
    struct Level {
        double megahertz = 0;
        bool isMarked = false;
    };
    std::vector<Engine> makeEngines() const;
    bool findIntegrated() const;
    void readEngines(GraphicsReading& reading);
    void readClock(GraphicsReading& reading);
    void readPower(GraphicsReading& reading, MonotonicTime now);
    std::vector<Level> readLevels();
    /// What amdgpu tells of a part of a processor is the power of the processor's whole package.
    bool tellsPackage() const { return isIntegrated_ && sensors_.isAmdgpu(); }

    const RootDirectory& root_;
    std::string directory_;
    CardSensors sensors_;
    KernelFile busyPercent_;
    KernelFile levels_;  // "1: 789Mhz *"
    std::vector<Engine> engines_;
    bool isIntegrated_ = false;
    bool isClockMeasured_ = false;  // the last reading's was hwmon's
    std::optional<double> mostMegahertz_;
};

}  // namespace zqm
