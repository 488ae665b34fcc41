#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Machine/ProcessorTicks.h"
#include "Platform/Process/Clock.h"

/// What a machine whose kernel prints plain facts tells of itself, in the units in which people read it.
namespace zqm {

/// Kinds of processors in one machine. A middle one is neither the largest nor the smallest of three or more kinds.
enum class ProcessorKind { performance, middle, efficiency };

/// Physical memory and swap at one moment, bytes. What is used is `app`, `wired` and `compressed` together.
struct MemoryReading {
    std::uint64_t total = 0;  // installed
    std::uint64_t app = 0;
    std::uint64_t wired = 0;       // held by the kernel or locked
    std::uint64_t compressed = 0;  // occupied by compressed pages
    std::uint64_t swapTotal = 0;
    std::uint64_t swapUsed = 0;
    std::int64_t pressureLevel = 0;  // 1 normal, 2 warning, 4 critical; 0: not told
};

/// The clock of one processor, MHz.
struct ProcessorClock {
    ProcessorKind kind = ProcessorKind::performance;
    double megahertz = 0;      // the mean since it was last asked for; 0: offline, or not known
    double mostMegahertz = 0;  // what it may reach; 0: not known
};

/// A graphics card; what its driver does not tell is absent.
struct GraphicsReading {
    std::string name;                                // the kernel's: "card0"; the same as long as the card is there
    MonotonicTime time{};                            // when it was looked at; one that may fall asleep is so but rarely
    bool isIntegrated = false;                       // a part of the processor's package
    std::optional<double> busy;                      // fraction of the time, then
    std::vector<std::optional<double>> idleSeconds;  // without `busy`: since the start, of each part with its own clock
    std::optional<double> megahertz;                 // of the fastest part
    std::optional<double> mostMegahertz;
    std::optional<double> celsius;
    std::optional<double> watts;         // of the card alone
    std::optional<double> millijoules;   // without `watts`: used since it was first looked at, growing only
    std::optional<double> packageWatts;  // of an integrated one that tells nothing of its own: of the whole package
};

/// Energy used since the machine was first looked at, mJ, each growing only; absent: not counted, or not for this user.
/// What is measured as power is told as that.
struct EnergyReading {
    std::optional<double> cpu;
    std::optional<double> gpu;
    std::optional<double> ane;
    std::optional<double> dram;
    std::optional<double> system;       // of the whole machine
    std::optional<double> systemWatts;  // of the whole machine, now
};

/// The sensors that stand for a part of the machine, °C.
struct TemperatureReading {
    std::vector<double> processors;
    std::vector<double> graphics;  // those that are no card's
};

/// What has passed in each direction since the machine or the device started, bytes.
struct DriveReading {
    std::string name;
    std::uint64_t read = 0;
    std::uint64_t written = 0;
};
struct InterfaceReading {
    std::string name;
    std::uint64_t received = 0;
    std::uint64_t sent = 0;
};

/// The machine's own IPv4 addresses, host byte order.
struct AddressReading {
    std::optional<std::uint32_t> local;   // of the interface that leads out
    std::optional<std::uint32_t> tunnel;  // of the first tunnel
};

/// Whether programs are told to use a proxy, and where one is, when that is known.
struct ProxyReading {
    bool isOn = false;
    std::string host;
};

/// One battery, or several as one; what is not told is absent.
struct BatteryReading {
    bool isCharging = false;
    bool isDischarging = false;
    std::optional<double> level;          // 0…1
    std::optional<double> health;         // full as a share of design, 0…
    std::optional<double> full, design;   // Wh
    std::optional<double> watts;          // positive into the battery, negative out of it
    std::optional<std::int64_t> minutes;  // until it is full, or empty
    std::int64_t cycles = 0;
};
struct PowerSupplyReading {
    std::optional<BatteryReading> battery;  // absent: the machine has none
    bool isOnMains = false;
    std::optional<double> adapterWatts;
};

/// The machine's plain facts. nullopt: it could not be read now; an empty list: there is none. Figures that need more
/// than one moment (rates, power from energy, last positive values) are made above. Nothing here waits.
///
/// `graphics` is callable from any thread, all others from one thread at a time.
class MachineReadings {
public:
    virtual ~MachineReadings() = default;
    /// One entry per logical processor in the kernel's order. A processor that goes offline keeps its place and ticks.
    virtual std::optional<std::vector<ProcessorTicks>> processorTicks() = 0;
    /// Of the same processors in the same order.
    virtual std::vector<ProcessorKind> processorKinds() = 0;
    /// Of the same processors in the same order; empty where no clock is told.
    virtual std::vector<ProcessorClock> clocks() = 0;
    virtual std::optional<MemoryReading> memory() = 0;
    virtual std::vector<GraphicsReading> graphics() = 0;
    virtual EnergyReading energy() = 0;
    virtual TemperatureReading temperatures() = 0;
    /// Whole drives, none of them through another.
    virtual std::optional<std::vector<DriveReading>> drives() = 0;
    /// The interfaces whose bytes count, none of them through another.
    virtual std::optional<std::vector<InterfaceReading>> interfaces() = 0;
    virtual AddressReading addresses() = 0;
    virtual ProxyReading proxies() = 0;
    virtual PowerSupplyReading powerSupply() = 0;
};

}  // namespace zqm
