#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Platform/Apple/TemperatureSensors.h"
#include "Platform/Linux/Hardware/GraphicsCards.h"
#include "Platform/Linux/Hardware/SensorNames.h"
#include "Platform/Linux/Kernel/Cadence.h"
#include "Platform/Linux/Kernel/KernelFile.h"
#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Process/Clock.h"
#include "Support/Mutex.h"

namespace zqm {

/// Sensors of hwmon chips, thermal zones and NVIDIA's library.
///
/// Those that count are read on every call; all others once a minute, together with the search for them, because many
/// are slow or cost their device its rest. Drives behind "drivetemp" are left alone: a question keeps them spinning.
class LinuxTemperatureSensors final : public TemperatureSensors {
public:
    LinuxTemperatureSensors(const RootDirectory& root, Clock& clock, GraphicsCards& cards)
        : root_(root), clock_(clock), cards_(cards) {}

    std::optional<std::vector<std::unique_ptr<TemperatureSensor>>> sensors() override;

private:
    struct Source {
        std::optional<KernelFile> file;        // absent: read only when the sensors are looked for
        std::optional<KernelFile> powerState;  // of the device: one that sleeps is not woken for its temperature
        std::string name;
        std::optional<double> celsius;
    };
    struct Found {
        std::vector<SensorDescription> descriptions;
        std::vector<Source> sources;
    };
    void discover() ZQM_REQUIRES(mutex_);
    std::vector<std::string> chipDirectories() const;
    void addChip(Found& found, const std::string& directory) const;
    void addZone(Found& found, const std::string& directory) const;
    void add(Found& found, SensorDescription description, const std::string& input, const std::string& device) const;
    static std::optional<double> read(Source& source);

    const RootDirectory& root_;
    Clock& clock_;
    GraphicsCards& cards_;
    Mutex mutex_;
    Cadence discovery_ ZQM_GUARDED_BY(mutex_){Seconds(60)};
    std::vector<Source> sources_ ZQM_GUARDED_BY(mutex_);
};

}  // namespace zqm
