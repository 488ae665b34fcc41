#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Platform/Linux/Hardware/SensorRanks.h"
#include "Platform/Linux/Kernel/Cadence.h"
#include "Platform/Linux/Kernel/KernelFile.h"
#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Machine/MachineReadings.h"
#include "Platform/Machine/SourceReport.h"
#include "Platform/Process/Clock.h"

namespace zqm {

/// The sensors of hwmon chips and thermal zones, but those of graphics cards (see CardSensors). One thread at a time.
///
/// Those that count are read on every call; all are read once a minute, when they are looked for, because many are slow
/// or cost their device its rest. Drives behind "drivetemp" are left alone: a question keeps them spinning.
class Temperatures {
public:
    Temperatures(const RootDirectory& root, Clock& clock) : root_(root), clock_(clock) {}

    TemperatureReading read();
    SourceDescription describe(MetricFamily family);

private:
    struct Source {
        KernelFile file;
        std::optional<KernelFile> powerState;  // of the device: one that sleeps is not woken for its temperature
        SensorPart part = SensorPart::other;
    };
    struct Found {
        std::vector<SensorDescription> descriptions;
        std::vector<Source> sources;
    };
    void discover();
    std::vector<std::string> chipDirectories() const;
    void addChip(Found& found, const std::string& directory) const;
    void addZone(Found& found, const std::string& directory) const;
    void add(Found& found, SensorDescription description, const std::string& input, const std::string& device) const;
    static std::optional<double> read(Source& source);

    const RootDirectory& root_;
    Clock& clock_;
    Cadence discovery_{Seconds(60)};
    std::vector<Source> sources_;  // that count
};

}  // namespace zqm
