#include "Platform/Linux/Network/Addresses.h"

#include <arpa/inet.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "Platform/Linux/Kernel/KernelText.h"
#include "Platform/Posix/Sockets.h"
#include "Support/Text.h"

namespace zqm {
namespace {

constexpr std::uint32_t loopbackNetwork = 127;  // not among the routes

/// An address as /proc/net/route writes it: the bytes of network order as one hexadecimal number of the machine's.
std::optional<std::uint32_t> takeAddress(std::string_view& line) {
    const auto value = takeHexadecimal(line);
    if (!value || *value > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
    return ntohl(static_cast<std::uint32_t>(*value));
}

/// The interface on whose own network `address` lies; empty when it lies on none. Routes through a gateway say where
/// other machines are, not which addresses are this one's.
std::string_view interfaceOf(std::uint32_t address, std::string_view routes) {
    if (address >> 24 == loopbackNetwork) return "lo";
    std::string_view best;
    std::uint32_t bestMask = 0;
    while (auto line = takeLine(routes)) {
        const std::string_view name = takeWord(*line);
        const auto destination = takeAddress(*line);
        const auto gateway = takeAddress(*line);
        skipFields(*line, 4);  // flags, references, use, metric
        const auto mask = takeAddress(*line);
        if (!destination || gateway != 0u || !mask || (address & *mask) != *destination) continue;
        if (*mask <= bestMask) continue;
        best = name;
        bestMask = *mask;
    }
    return best;
}

}  // namespace

Addresses::Addresses(const RootDirectory& root, Interfaces& interfaces, Clock& clock)
    : root_(root),
      asksKernel_(root.isThisMachine()),
      interfaces_(interfaces),
      clock_(clock),
      addressTable_(root.path("/proc/net/fib_trie")),
      routes_(root.path("/proc/net/route")),
      routes6_(root.path("/proc/net/ipv6_route")) {}

AddressReading Addresses::read() {
    if (!asksKernel_) {
        const auto addresses = readTables();
        return addresses ? choose(*addresses, interfaceThatLeadsOut()) : AddressReading{};
    }
    if (!asking_.isDue(clock_.monotonic())) return last_;
    const auto addresses = kernel_.list();
    if (!addresses) return last_ = {};
    const auto out = kernel_.leadingOut();
    const bool leadsThroughTunnel = out && interfaces_.role(out->interface) == Interfaces::Role::tunnel;
    last_ = choose(*addresses, out && !leadsThroughTunnel ? out->interface : interfaceThatLeadsOut());
    if (out && !leadsThroughTunnel) last_.local = out->ipv4;  // of several on one interface the one that is used
    return last_;
}

/// Without a way out the address of an interface with a device, else of one above such a device; those of containers
/// and virtual machines are nobody's.
AddressReading Addresses::choose(const std::vector<KernelAddress>& addresses, const std::string& leadsOut) {
    using enum Interfaces::Role;
    AddressReading reading;
    std::optional<std::uint32_t> ofDevice;
    std::optional<std::uint32_t> aboveDevice;
    for (const auto& [interface, address] : addresses) {
        const Interfaces::Role role = interfaces_.role(interface);
        if (role == loopback || address >> 24 == loopbackNetwork) continue;
        if (role == tunnel && !reading.tunnel) reading.tunnel = address;
        if (role != tunnel && interface == leadsOut && !reading.local) reading.local = address;
        if (role == counted && !ofDevice) ofDevice = address;
        if (role == aboveCounted && !aboveDevice) aboveDevice = address;
    }
    if (!reading.local) reading.local = ofDevice ? ofDevice : aboveDevice;
    return reading;
}

/// That of the best default route which does not lead into a tunnel, of IPv6 where IPv4 has none; empty without any.
std::string Addresses::interfaceThatLeadsOut() {
    for (const auto& routes :
         {defaultRoutes(routes_.read().value_or("")), defaultRoutes6(routes6_.read().value_or(""))}) {
        const auto found = std::find_if(routes.begin(), routes.end(), [this](const std::string& interface) {
            return interfaces_.role(interface) != Interfaces::Role::tunnel;
        });
        if (found != routes.end()) return *found;
    }
    return {};
}

SourceDescription Addresses::describe() const {
    if (asksKernel_) return {"rtnetlink", ""};
    return root_.describe(addressTable_);
}

std::optional<std::vector<KernelAddress>> Addresses::readTables() {
    const auto table = addressTable_.read();
    if (!table) return std::nullopt;
    const std::string_view routes = routes_.read().value_or("");
    std::vector<KernelAddress> addresses;
    std::optional<std::uint32_t> leaf;
    bool isLocalTable = false;  // the main one may show the same leaves once more
    std::string_view rest = *table;
    while (auto line = takeLine(rest)) {
        const std::string_view first = takeWord(*line);
        if (first.ends_with(':')) isLocalTable = first == "Local:";
        if (first == "|--") leaf = parseIPv4(takeWord(*line));
        if (!isLocalTable || !leaf || first != "/32" || takeWord(*line) != "host" || takeWord(*line) != "LOCAL") {
            continue;
        }
        const std::string_view interface = interfaceOf(*leaf, routes);
        if (!interface.empty()) addresses.push_back({std::string(interface), *leaf});
    }
    return addresses;
}

}  // namespace zqm
