#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Machine/MachineReadings.h"
#include "Platform/Process/Clock.h"

namespace zqm {

/// How much of a graphics engine a process has used. Both numbers grow; their growths are to be compared.
struct EngineUse {
    std::string engine;  // the same for the same engine of the same card
    double busy = 0;     // by this process, in a unit of the driver's
    double passed = 0;   // of the engine's time, in the same unit
};

/// A process that has asked a graphics card for work.
struct GraphicsUser {
    std::int32_t pid = 0;
    std::uint64_t startTime = 0;  // with the pid it identifies the process for ever
    std::string name;
    std::vector<EngineUse> engines;
};

/// What a person asks of one process.
struct ProcessFacts {
    std::uint64_t startTime = 0;  // with the pid it identifies the process for ever
    std::string user;             // the name, else the number
    std::string command;          // the arguments with blanks between them; of one without, its name in brackets
};

/// A file system on a drive of the machine, bytes.
struct FileSystem {
    std::string mountPoint;  // one of them, the topmost
    std::uint64_t total = 0;
    std::uint64_t available = 0;  // to ordinary users
};

/// A sensor by the name that people know it by.
struct SensorFigure {
    std::string name;  // "coretemp Package id 0"
    double value = 0;
};

/// Add a figure, unless it is impossible: a sensor that is broken or not there. One whose name is taken gets a number.
void addTemperature(std::vector<SensorFigure>& figures, const std::string& name, double celsius);
void addFan(std::vector<SensorFigure>& figures, const std::string& name, double turnsPerMinute);

/// What tells one machine from another, as their samples show it.
struct MachineSize {
    std::uint64_t memory = 0;  // installed, bytes
    std::size_t processors = 0;
};

/// What a person asks a machine now and then and no sample holds. One thread at a time; nothing here is for a tick.
class MachineDetails {
public:
    virtual ~MachineDetails() = default;
    /// nullopt when either cannot be read.
    virtual std::optional<MachineSize> size() = 0;
    /// The drives and interfaces that a sample's sums are made of; empty also when they cannot be read.
    virtual std::vector<DriveReading> drives() = 0;
    virtual std::vector<InterfaceReading> interfaces() = 0;
    /// Of the processes that this user may look into, those whose cards' drivers count; empty: no driver does.
    virtual std::vector<GraphicsUser> graphicsUsers() = 0;
    virtual bool isRunning(std::int32_t pid) = 0;
    /// nullopt when there is no such process, or it may not be seen.
    virtual std::optional<ProcessFacts> process(std::int32_t pid) = 0;
    /// Those on drives; not those of other machines, which may be away.
    virtual std::vector<FileSystem> fileSystems() = 0;
    /// Processes that run or wait to, on average over 1, 5 and 15 minutes.
    virtual std::optional<std::array<double, 3>> loadAverages() = 0;
    virtual std::optional<Seconds> uptime() = 0;
    /// Every sensor: °C, and turns per minute of fans. A device that sleeps is not woken, its sensors are left out.
    virtual std::vector<SensorFigure> temperatures() = 0;
    virtual std::vector<SensorFigure> fans() = 0;
};

}  // namespace zqm
