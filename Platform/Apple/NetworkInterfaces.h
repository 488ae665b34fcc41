#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zqm {

/// A link-level interface. Names follow one scheme on every platform: "en0", "en1", … are Ethernet-class (wired or
/// wireless, "en0" the one that leads out), "utunN", "ipsecN" and "pppN" are tunnels, "loN" is loopback.
struct LinkInterface {
    std::string name;
    /// Cumulative bytes; absent when the interface presents no counters.
    struct Counters {
        std::uint64_t received = 0;
        std::uint64_t sent = 0;
    };
    std::optional<Counters> counters;
};

/// An IPv4 address of an interface, named as above.
struct InterfaceAddress {
    std::string name;
    std::uint32_t ipv4 = 0;  // host byte order
};

/// The network interfaces, in the system's order. nullopt: the list could not be read. Callable from any thread, one
/// call at a time.
class NetworkInterfaces {
public:
    virtual ~NetworkInterfaces() = default;
    virtual std::optional<std::vector<LinkInterface>> links() = 0;
};

/// The addresses of the same interfaces; a service of its own because throughput is read every tick and never needs
/// them.
class InterfaceAddresses {
public:
    virtual ~InterfaceAddresses() = default;
    virtual std::optional<std::vector<InterfaceAddress>> ipv4() = 0;
};

}  // namespace zqm
