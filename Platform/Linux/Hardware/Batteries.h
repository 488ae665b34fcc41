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
#include "Platform/Machine/MachineReadings.h"
#include "Platform/Machine/SourceReport.h"
#include "Platform/Process/Clock.h"

namespace zqm {

enum class BatteryStatus { unknown, charging, discharging, idle };  // idle: full or not charging

/// One battery, or several as one. What is not told is absent.
struct BatteryFacts {
    BatteryStatus status = BatteryStatus::unknown;
    std::optional<double> level;                               // 0…1
    std::optional<double> charge;                              // Wh that are left
    std::optional<double> full, design;                        // Wh
    std::optional<double> fullAmpereHours, designAmpereHours;  // where the battery counts charge
    std::optional<double> volts;
    std::optional<double> watts;              // positive into the battery, negative out of it
    std::optional<std::int64_t> toldMinutes;  // by the battery, until it is full or empty
    std::int64_t cycles = 0;
};

/// What the properties of a supply's "uevent" file say about a battery; nullopt when it is not in its slot.
std::optional<BatteryFacts> parseBattery(std::string_view properties);

/// One or more batteries as one: sums of energies and powers, means of levels and voltages where no energies are told.
BatteryFacts combine(const std::vector<BatteryFacts>& batteries);

/// Whole minutes until the battery is full, or empty; nullopt when it is neither charged nor discharged or the time is
/// not known or absurd.
std::optional<std::int64_t> minutesLeft(const BatteryFacts& battery);

/// The machine's batteries and adapters of /sys/class/power_supply, without those of mice and other devices. One thread
/// at a time.
class Batteries {
public:
    Batteries(const RootDirectory& root, Clock& clock) : root_(root), clock_(clock) {}

    PowerSupplyReading read();
    SourceDescription describe(MetricFamily family);

private:
    struct Supply {
        std::string directory;
        bool isBattery = false;
        std::vector<std::pair<std::string, KernelFile>> files;  // by property
        KernelFile summary;                                     // "uevent", where there are no such files
    };
    void discover();
    static std::string propertiesOf(Supply& supply);

    const RootDirectory& root_;
    Clock& clock_;
    Cadence discovery_{Seconds(10)};
    std::vector<Supply> supplies_;
    std::vector<std::string> names_;
};

}  // namespace zqm
