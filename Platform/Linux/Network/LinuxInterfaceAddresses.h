#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Apple/NetworkInterfaces.h"
#include "Platform/Linux/Kernel/KernelFile.h"
#include "Platform/Linux/Network/LinuxNetworkInterfaces.h"
#include "Platform/Posix/Descriptor.h"

namespace zqm {

/// The primary IPv4 addresses: of this machine as rtnetlink lists them, below another root as its routing tables tell.
///
/// Secondary addresses of a subnet, which no connection of the machine's own leaves from, are left out. One thread at a
/// time, and not during a call of the interfaces that give the names.
class LinuxInterfaceAddresses final : public InterfaceAddresses {
public:
    /// `interfaces` outlives it.
    LinuxInterfaceAddresses(const RootDirectory& root, LinuxNetworkInterfaces& interfaces)
        : asksKernel_(root.isThisMachine()),
          addressTable_(root.path("/proc/net/fib_trie")),
          routes_(root.path("/proc/net/route")),
          interfaces_(interfaces) {}

    std::optional<std::vector<InterfaceAddress>> ipv4() override;

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

    const bool asksKernel_;
    Descriptor socket_;  // kept open: asked on every tick
    std::uint32_t sequence_ = 0;
    KernelFile addressTable_;
    KernelFile routes_;
    LinuxNetworkInterfaces& interfaces_;
};

}  // namespace zqm
