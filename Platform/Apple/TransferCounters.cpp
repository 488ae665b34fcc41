#include "Platform/Apple/TransferCounters.h"

#include <utility>

namespace zqm {

std::optional<DriveReading> driveCounters(const RegistryEntry& driver) {
    const auto property = driver.property("Statistics");
    const PropertyDictionary* statistics = property ? asDictionary(&*property) : nullptr;
    if (!statistics) return std::nullopt;
    return DriveReading{{},
                        asCount(find(*statistics, "Bytes (Read)")).value_or(0),
                        asCount(find(*statistics, "Bytes (Write)")).value_or(0)};
}

std::optional<std::string> driveName(const RegistryEntry& driver) {
    const auto media = driver.children();
    if (!media) return std::nullopt;
    for (const auto& medium : *media) {
        const auto property = medium->property("BSD Name");
        const std::string* name = property ? asText(&*property) : nullptr;
        if (name && !name->empty()) return *name;
    }
    return std::nullopt;
}

std::optional<std::vector<InterfaceReading>> countedInterfaces(NetworkInterfaces& interfaces) {
    auto links = interfaces.links();
    if (!links) return std::nullopt;
    std::vector<InterfaceReading> counted;
    for (LinkInterface& link : *links) {
        if (!link.name.starts_with("en") || !link.counters) continue;
        counted.push_back({std::move(link.name), link.counters->received, link.counters->sent});
    }
    return counted;
}

}  // namespace zqm
