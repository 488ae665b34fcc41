#pragma once

#include <dirent.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/Linux/Details/NvidiaUsers.h"
#include "Platform/Linux/Kernel/Cadence.h"
#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Linux/Processes/ProcessNames.h"
#include "Platform/Machine/MachineDetails.h"
#include "Platform/Process/Clock.h"

namespace zqm {

/// What a driver says of one client of a card in /proc/PID/fdinfo/FD. A process may hold several descriptors of one
/// client, and several clients.
struct GraphicsClient {
    std::string device;  // PCI address, or the driver's name where there is none
    std::uint64_t id = 0;
    std::vector<EngineUse> engines;
};

/// nullopt when the descriptor is none of a card whose driver counts. `now` is the time that has passed for engines
/// whose work is told in nanoseconds.
std::optional<GraphicsClient> parseGraphicsClient(std::string_view text, MonotonicTime now);

/// Processes that use the graphics cards: amdgpu, i915, xe, nouveau, v3d, panfrost and other drivers count the time of
/// each client's work in its descriptor; of NVIDIA's cards their library tells. Which processes hold such descriptors
/// is looked for every five seconds. One thread at a time.
class GraphicsUsers {
public:
    GraphicsUsers(const RootDirectory& root, Clock& clock, std::string nvidiaLibrary)
        : root_(root), clock_(clock), names_(root), nvidia_(root, clock, std::move(nvidiaLibrary)) {}

    std::vector<GraphicsUser> read();

private:
    std::vector<EngineUse> readClients(int directory, std::int32_t pid);
    std::optional<GraphicsUser> makeUser(int directory, std::int32_t pid, std::vector<EngineUse> engines);

    const RootDirectory& root_;
    Clock& clock_;
    ProcessNames names_;
    Cadence search_{Seconds(5)};
    NvidiaUsers nvidia_;
    std::vector<std::int32_t> pids_;  // that held such a descriptor at the last search
};

}  // namespace zqm
