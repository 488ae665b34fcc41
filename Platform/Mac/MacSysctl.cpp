#include "Platform/Mac/MacSysctl.h"

#include <cstring>

namespace zqm {
namespace {

constexpr std::size_t mostBytes = 1 << 20;

constexpr std::uint8_t interfaceInfo2 = 0x12;  // RTM_IFINFO2
constexpr std::uint8_t linkFamily = 18;        // AF_LINK

/// Asks for a value's size, then for the value.
template <class Ask>
std::optional<Bytes> valueOf(Ask ask, std::size_t slack) {
    std::size_t size = 0;
    if (ask(nullptr, &size) != 0 || size > mostBytes) return std::nullopt;
    Bytes bytes(size > 0 ? size + slack : 0);
    if (bytes.empty()) return bytes;
    size = bytes.size();
    if (ask(bytes.data(), &size) != 0) return std::nullopt;
    bytes.resize(std::min(size, bytes.size()));
    return bytes;
}

/// The interface that a message of `length` bytes is about; nullopt when it is about something else.
std::optional<LinkInterface> linkIn(const std::uint8_t* bytes, std::size_t length) {
    constexpr std::size_t nameBegin = offsetof(InterfaceMessage, link.name);
    InterfaceMessage message{};
    std::memcpy(&message, bytes, std::min(length, sizeof message));
    if (message.type != interfaceInfo2 || message.link.family != linkFamily) return std::nullopt;
    if (nameBegin + message.link.nameLength > length) return std::nullopt;
    return LinkInterface{std::string(reinterpret_cast<const char*>(bytes) + nameBegin, message.link.nameLength),
                         LinkInterface::Counters{message.received, message.sent}};
}

}  // namespace

std::optional<Bytes> MacSysctl::read(std::string_view name) {
    if (!calls_.sysctlbyname) return std::nullopt;
    return valueOf(
        [&, text = std::string(name)](void* value, std::size_t* size) {
            return calls_.sysctlbyname(text.c_str(), value, size, nullptr, 0);
        },
        0);
}

std::optional<Bytes> MacSysctl::read(std::vector<int> name, std::size_t room) {
    if (!calls_.sysctl) return std::nullopt;
    return valueOf(
        [&](void* value, std::size_t* size) {
            return calls_.sysctl(name.data(), static_cast<unsigned>(name.size()), value, size, nullptr, 0);
        },
        room);
}

std::optional<std::vector<LinkInterface>> MacSysctl::links() {
    constexpr std::size_t room = 4096;                   // for interfaces that come between the two calls
    const auto bytes = read({4, 17, 0, 0, 6, 0}, room);  // CTL_NET, PF_ROUTE, …, NET_RT_IFLIST2, all interfaces
    if (!bytes) return std::nullopt;
    std::vector<LinkInterface> links;
    std::uint16_t length = 0;
    for (std::size_t at = 0; at + sizeof length <= bytes->size(); at += length) {
        std::memcpy(&length, bytes->data() + at, sizeof length);
        if (length == 0 || length > bytes->size() - at) break;
        if (auto link = linkIn(bytes->data() + at, length)) links.push_back(std::move(*link));
    }
    return links;
}

}  // namespace zqm
