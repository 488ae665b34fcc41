#include "Platform/Linux/Network/KernelAddresses.h"

#include <arpa/inet.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/socket.h>

#include <array>
#include <cstring>
#include <utility>

#include "Support/Text.h"

namespace zqm {
namespace {

std::optional<std::uint32_t> addressOf(const rtattr* part) {
    std::uint32_t address = 0;
    if (RTA_PAYLOAD(part) != sizeof address) return std::nullopt;
    std::memcpy(&address, RTA_DATA(part), sizeof address);
    return ntohl(address);
}

/// Calls `take` with each attribute of a message that begins with a `Header`.
template <class Header, class Take>
void forEachAttribute(const nlmsghdr& message, Take take) {
    const auto* header = static_cast<const char*>(NLMSG_DATA(&message));
    auto rest = static_cast<int>(message.nlmsg_len - NLMSG_SPACE(sizeof(Header)));
    const auto* part = reinterpret_cast<const rtattr*>(header + NLMSG_ALIGN(sizeof(Header)));
    for (; RTA_OK(part, rest); part = RTA_NEXT(part, rest)) take(part);
}

}  // namespace

std::optional<KernelAddress> parseAddress(const nlmsghdr& message) {
    const auto description = recordOf<ifaddrmsg>(message);
    if (message.nlmsg_type != RTM_NEWADDR || !description) return std::nullopt;
    if (description->ifa_family != AF_INET || description->ifa_flags & IFA_F_SECONDARY) return std::nullopt;
    KernelAddress address;
    bool hasAddress = false;
    forEachAttribute<ifaddrmsg>(message, [&](const rtattr* part) {
        if (part->rta_type == IFA_LOCAL) {  // IFA_ADDRESS may be the peer's
            const auto local = addressOf(part);
            hasAddress = local.has_value();
            address.ipv4 = local.value_or(0);
        } else if (part->rta_type == IFA_LABEL) {  // the interface's name, or that and a colon and an alias
            const auto* data = static_cast<const char*>(RTA_DATA(part));
            std::string_view label(data, ::strnlen(data, RTA_PAYLOAD(part)));
            address.interface = takeUntil(label, ':');
        }
    });
    return hasAddress ? std::optional(std::move(address)) : std::nullopt;
}

std::optional<KernelAddress> parseRoute(const nlmsghdr& message) {
    const auto route = recordOf<rtmsg>(message);
    if (message.nlmsg_type != RTM_NEWROUTE || !route || route->rtm_type != RTN_UNICAST) return std::nullopt;
    KernelAddress address;
    forEachAttribute<rtmsg>(message, [&](const rtattr* part) {
        std::array<char, IF_NAMESIZE> name{};
        unsigned index = 0;
        if (part->rta_type == RTA_PREFSRC) address.ipv4 = addressOf(part).value_or(0);
        if (part->rta_type != RTA_OIF || RTA_PAYLOAD(part) != sizeof index) return;
        std::memcpy(&index, RTA_DATA(part), sizeof index);
        if (::if_indextoname(index, name.data())) address.interface = name.data();
    });
    return address.ipv4 != 0 && !address.interface.empty() ? std::optional(std::move(address)) : std::nullopt;
}

/// One dump of the IPv4 addresses alone: three system calls, where getifaddrs opens a socket each time and has all
/// links described at length.
std::optional<std::vector<KernelAddress>> KernelAddresses::list() {
    ifaddrmsg question{};
    question.ifa_family = AF_INET;
    std::vector<KernelAddress> addresses;
    const bool isWhole = kernel_.ask(RTM_GETADDR, NLM_F_DUMP, question, [&](const nlmsghdr& message) {
        if (auto address = parseAddress(message)) addresses.push_back(*std::move(address));
    });
    return isWhole ? std::optional(std::move(addresses)) : std::nullopt;
}

std::optional<KernelAddress> KernelAddresses::leadingOut() {
    struct {
        rtmsg route;
        rtattr destination;
        std::uint32_t address;
    } question{};
    constexpr std::uint32_t somewhere = 0xC0000201;  // 192.0.2.1, which belongs to nobody
    question.route.rtm_family = AF_INET;
    question.route.rtm_dst_len = 32;
    question.destination.rta_type = RTA_DST;
    question.destination.rta_len = RTA_LENGTH(sizeof question.address);
    question.address = htonl(somewhere);
    std::optional<KernelAddress> found;
    // With an acknowledgement, so that the answer has an end as a dump's has.
    const bool isWhole = kernel_.ask(RTM_GETROUTE, NLM_F_ACK, question, [&](const nlmsghdr& message) {
        if (auto address = parseRoute(message)) found = std::move(address);
    });
    return isWhole ? found : std::nullopt;
}

}  // namespace zqm
