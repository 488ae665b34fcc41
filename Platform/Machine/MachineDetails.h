#pragma once

#include <cstdint>
#include <string>
#include <vector>

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

/// What a person asks a machine now and then and no sample holds. One thread at a time; nothing here is for a tick.
class MachineDetails {
public:
    virtual ~MachineDetails() = default;
    /// Of the processes that this user may look into, those whose cards' drivers count; empty: no driver does.
    virtual std::vector<GraphicsUser> graphicsUsers() = 0;
};

}  // namespace zqm
