#include "Platform/Linux/Network/Addresses.h"

#include <arpa/inet.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <utility>

#include "Platform/Linux/Kernel/KernelText.h"
#include "Platform/Posix/Sockets.h"
#include "Support/Text.h"

namespace zqm {
namespace {

constexpr std::uint32_t loopbackNetwork = 127;  // not among the routes

/// An address as /proc/net/route writes it: the bytes of network order as one hexadecimal number of the machine's.
std::optional<std::uint32_t> takeHexadecimal(std::string_view& line) {
    const std::string_view field = takeWord(line);
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), value, 16);
    if (error != std::errc{} || end != field.data() + field.size()) return std::nullopt;
    return ntohl(value);
}

/// The interface on whose own network `address` lies; empty when it lies on none. Routes through a gateway say where
/// other machines are, not which addresses are this one's.
std::string_view interfaceOf(std::uint32_t address, std::string_view routes) {
    if (address >> 24 == loopbackNetwork) return "lo";
    std::string_view best;
    std::uint32_t bestMask = 0;
    while (auto line = takeLine(routes)) {
        const std::string_view name = takeWord(*line);
        const auto destination = takeHexadecimal(*line);
        const auto gateway = takeHexadecimal(*line);
        skipFields(*line, 4);  // flags, references, use, metric
        const auto mask = takeHexadecimal(*line);
        if (!destination || gateway != 0u || !mask || (address & *mask) != *destination) continue;
        if (*mask <= bestMask) continue;
        best = name;
        bestMask = *mask;
    }
    return best;
}

}  // namespace

AddressReading Addresses::read() {
    AddressReading reading;
    const auto found = asksKernel_ ? askKernel() : readTables();
    if (!found) return reading;
    std::optional<std::uint32_t> leadingOut;
    std::optional<std::uint32_t> counted;
    for (const auto& [interface, address] : *found) {
        if (address >> 24 == loopbackNetwork) continue;
        const Interfaces::Role role = interfaces_.role(interface);
        auto& first = role == Interfaces::Role::leadsOut  ? leadingOut
                      : role == Interfaces::Role::counted ? counted
                                                          : reading.tunnel;
        if (role != Interfaces::Role::other && !first) first = address;
    }
    reading.local = leadingOut ? leadingOut : counted;
    return reading;
}

SourceDescription Addresses::describe() const {
    if (asksKernel_) return {"rtnetlink", ""};
    return root_.describe(addressTable_);
}

/// One dump of the IPv4 addresses alone: three system calls, where getifaddrs opens a socket each time and has all
/// links described at length.
Addresses::KernelAddresses Addresses::askKernel() {
    if (!socket_) socket_.reset(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
    if (!socket_) return std::nullopt;
    auto addresses = sendRequest() ? receiveAnswer() : std::nullopt;
    if (!addresses) socket_.reset();  // with whatever was still to come
    return addresses;
}

bool Addresses::sendRequest() {
    struct {
        nlmsghdr header;
        ifaddrmsg message;
    } request{};
    request.header.nlmsg_len = sizeof request;
    request.header.nlmsg_type = RTM_GETADDR;
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request.header.nlmsg_seq = ++sequence_;
    request.message.ifa_family = AF_INET;
    return ::send(socket_.get(), &request, sizeof request, MSG_DONTWAIT) == static_cast<ssize_t>(sizeof request);
}

Addresses::KernelAddresses Addresses::receiveAnswer() {
    alignas(nlmsghdr) std::array<char, 32768> buffer;  // the kernel makes no larger pieces
    std::vector<KernelAddress> addresses;
    while (true) {
        // The kernel has the next piece ready before it hands one out: nothing is ever waited for.
        const ssize_t size = ::recv(socket_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (size < 0 && errno == EINTR) continue;
        if (size <= 0) return std::nullopt;
        auto rest = static_cast<std::uint32_t>(size);
        const auto* header = reinterpret_cast<const nlmsghdr*>(buffer.data());
        for (; NLMSG_OK(header, rest); header = NLMSG_NEXT(header, rest)) {
            if (header->nlmsg_seq != sequence_) continue;
            if (header->nlmsg_type == NLMSG_DONE) return addresses;
            if (header->nlmsg_type == NLMSG_ERROR) return std::nullopt;
            if (header->nlmsg_type != RTM_NEWADDR) continue;
            if (auto address = parseMessage(header)) addresses.push_back(*std::move(address));
        }
    }
}

std::optional<Addresses::KernelAddress> Addresses::parseMessage(const void* message) {
    const auto* header = static_cast<const nlmsghdr*>(message);
    if (header->nlmsg_len < NLMSG_LENGTH(sizeof(ifaddrmsg))) return std::nullopt;
    const auto* description = static_cast<const ifaddrmsg*>(NLMSG_DATA(header));
    if (description->ifa_family != AF_INET || description->ifa_flags & IFA_F_SECONDARY) return std::nullopt;
    KernelAddress address;
    bool hasAddress = false;
    auto rest = static_cast<std::uint32_t>(IFA_PAYLOAD(header));
    for (const auto* part = IFA_RTA(description); RTA_OK(part, rest); part = RTA_NEXT(part, rest)) {
        const auto* data = static_cast<const char*>(RTA_DATA(part));
        if (part->rta_type == IFA_LOCAL && RTA_PAYLOAD(part) == sizeof address.ipv4) {  // IFA_ADDRESS may be the peer's
            std::memcpy(&address.ipv4, data, sizeof address.ipv4);
            address.ipv4 = ntohl(address.ipv4);
            hasAddress = true;
        } else if (part->rta_type == IFA_LABEL) {  // the interface's name, or that and a colon and an alias
            std::string_view label(data, ::strnlen(data, RTA_PAYLOAD(part)));
            address.interface = takeUntil(label, ':');
        }
    }
    return hasAddress ? std::optional(std::move(address)) : std::nullopt;
}

Addresses::KernelAddresses Addresses::readTables() {
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
