#include "Platform/Mac/MacAddresses.h"

#include <memory>

namespace zqm {
namespace {

constexpr std::uint8_t ipv4Family = 2;  // AF_INET

}  // namespace

std::optional<std::vector<InterfaceAddress>> MacAddresses::ipv4() {
    if (!calls_.isWhole()) return std::nullopt;
    AddressRecord* first = nullptr;
    if (calls_.getifaddrs(&first) != 0) return std::nullopt;
    const std::unique_ptr<AddressRecord, void (*)(AddressRecord*)> list(first, calls_.freeifaddrs);
    std::vector<InterfaceAddress> addresses;
    for (const AddressRecord* entry = first; entry; entry = entry->next) {
        if (!entry->name || !entry->address || entry->address->family != ipv4Family) continue;
        std::uint32_t address = 0;
        for (const std::uint8_t byte : entry->address->ipv4) address = address << 8 | byte;
        addresses.push_back({entry->name, address});
    }
    return addresses;
}

std::optional<PropertyDictionary> MacProxySettings::proxySettings() {
    if (!missing().empty()) return std::nullopt;
    return dictionaryOf(core_, own(core_, calls_.CFNetworkCopySystemProxySettings()).get());
}

}  // namespace zqm
