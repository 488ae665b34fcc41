#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/Linux/Kernel/Cadence.h"
#include "Platform/Linux/Kernel/KernelFile.h"
#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Process/Clock.h"
#include "Support/Mutex.h"

namespace zqm {

enum class BatteryStatus { unknown, charging, discharging, idle };  // idle: full or not charging

/// One battery, or several as one. What is not told is absent.
struct BatteryReading {
    BatteryStatus status = BatteryStatus::unknown;
    std::optional<double> level;                               // 0…1
    std::optional<double> charge;                              // Wh that are left
    std::optional<double> full, design;                        // Wh
    std::optional<double> fullAmpereHours, designAmpereHours;  // where the battery counts charge
    std::optional<double> volts;
    std::optional<double> watts;  // positive into the battery, negative out of it
    std::int64_t cycles = 0;
};

/// What the properties of a supply's "uevent" file say about a battery; nullopt when it is not in its slot.
std::optional<BatteryReading> parseBattery(std::string_view properties);

/// One or more batteries as one: sums of energies and powers, means of levels and voltages where no energies are told.
BatteryReading combine(const std::vector<BatteryReading>& batteries);

struct PowerSupply {
    std::optional<BatteryReading> battery;  // absent: the machine has none
    bool onMains = false;
    std::optional<double> adapterWatts;

    /// Whole minutes until the battery is full, or empty; nullopt when it is neither charged nor discharged or the time
    /// is not known or absurd.
    std::optional<std::int64_t> minutesLeft() const;
};

/// The machine's batteries and adapters of /sys/class/power_supply, without those of mice and other devices. Callable
/// from any thread; asked again within one tick it answers the same.
class Batteries {
public:
    Batteries(const RootDirectory& root, Clock& clock) : root_(root), clock_(clock) {}

    PowerSupply read();

private:
    struct Supply {
        bool isBattery = false;
        std::vector<std::pair<std::string, KernelFile>> files;  // by property
        KernelFile summary;                                     // "uevent", where there are no such files
    };
    void discover() ZQM_REQUIRES(mutex_);
    PowerSupply readAll() ZQM_REQUIRES(mutex_);
    static std::string propertiesOf(Supply& supply);

    const RootDirectory& root_;
    Clock& clock_;
    Mutex mutex_;
    Cadence discovery_ ZQM_GUARDED_BY(mutex_){Seconds(10)};
    Cadence reading_ ZQM_GUARDED_BY(mutex_){sameTick};
    std::vector<Supply> supplies_ ZQM_GUARDED_BY(mutex_);
    std::vector<std::string> names_ ZQM_GUARDED_BY(mutex_);
    PowerSupply last_ ZQM_GUARDED_BY(mutex_);
};

}  // namespace zqm
