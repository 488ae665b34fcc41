#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Linux/Kernel/KernelFile.h"
#include "Platform/Linux/Network/Interfaces.h"
#include "Platform/Machine/MachineReadings.h"
#include "Platform/Machine/SourceReport.h"
#include "Platform/Posix/Descriptor.h"

namespace zqm {

/// The primary IPv4 addresses: of this machine as rtnetlink lists them, below another root as its routing tables tell.
///
/// Secondary addresses of a subnet, which no connection of the machine's own leaves from, are left out. One thread at a
/// time.
class Addresses {
public:
    /// `interfaces` outlives it.
    Addresses(const RootDirectory& root, Interfaces& interfaces)
        : root_(root),
          asksKernel_(root.isThisMachine()),
          addressTable_(root.path("/proc/net/fib_trie")),
          routes_(root.path("/proc/net/route")),
          interfaces_(interfaces) {}

    /// The local one is that of the interface that leads out, else of the first other one that is counted; loopback
    /// does not count.
    AddressReading read();
    SourceDescription describe() const;

private:
    /// One that belongs to the interface that the kernel calls `interface`.
    struct KernelAddress {
        std::string interface;
        std::uint32_t ipv4 = 0;
    };
    using KernelAddresses = std::optional<std::vector<KernelAddress>>;

    KernelAddresses askKernel();
    bool sendRequest();
    KernelAddresses receiveAnswer();
    static std::optional<KernelAddress> parseMessage(const void* message);
    KernelAddresses readTables();

    const RootDirectory& root_;
    const bool asksKernel_;
    Descriptor socket_;  // kept open: asked on every tick
    std::uint32_t sequence_ = 0;
    KernelFile addressTable_;
    KernelFile routes_;
    Interfaces& interfaces_;
};

}  // namespace zqm
