#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Linux/Kernel/Netlink.h"

namespace zqm {

/// An IPv4 address, host byte order, of the interface that the kernel calls `interface`.
struct KernelAddress {
    std::string interface;
    std::uint32_t ipv4 = 0;
};

/// The address that a message of a dump tells of; nullopt when it is secondary, or the message is of something else.
std::optional<KernelAddress> parseAddress(const nlmsghdr& message);
/// What a route leads out by; nullopt when it leads nowhere, or its interface is gone.
std::optional<KernelAddress> parseRoute(const nlmsghdr& message);

/// What rtnetlink tells of this machine's addresses. Nothing is sent to the network. One thread at a time.
class KernelAddresses {
public:
    /// The primary addresses: secondary ones of a subnet, which no connection of the machine's own leaves from, are
    /// left out. nullopt when the kernel does not answer.
    std::optional<std::vector<KernelAddress>> list();
    /// The interface and the address that a packet to the outside would leave by, whatever table of routes says so;
    /// nullopt without such a route.
    std::optional<KernelAddress> leadingOut();

private:
    Netlink kernel_{NETLINK_ROUTE};
};

}  // namespace zqm
