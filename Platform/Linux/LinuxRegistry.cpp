#include "Platform/Linux/LinuxRegistry.h"

#include <string>
#include <utility>

#include "Platform/Linux/ProcessorKinds.h"

namespace zqm {
namespace {

/// An entry that holds what it tells: a copy of the machine at the moment of the lookup.
class Entry final : public RegistryEntry {
public:
    Entry(std::string name, PropertyDictionary properties, std::vector<Entry> children = {})
        : name_(std::move(name)), properties_(std::move(properties)), children_(std::move(children)) {}

    std::optional<std::string> name() const override { return name_; }
    std::optional<std::vector<std::unique_ptr<RegistryEntry>>> children() const override {
        std::vector<std::unique_ptr<RegistryEntry>> children;
        for (const Entry& child : children_) children.push_back(std::make_unique<Entry>(child));
        return children;
    }
    std::optional<PropertyValue> property(std::string_view key) const override {
        const PropertyValue* value = find(properties_, key);
        return value ? std::optional(*value) : std::nullopt;
    }
    std::unique_ptr<UserClient> open(std::uint32_t) const override { return nullptr; }

private:
    std::string name_;
    PropertyDictionary properties_;
    std::vector<Entry> children_;
};

std::uint8_t clusterType(ProcessorKind kind) {
    switch (kind) {
        case ProcessorKind::efficiency:
            return 'E';
        case ProcessorKind::middle:
            return 'M';
        case ProcessorKind::performance:
            break;
    }
    return 'P';
}

}  // namespace

std::optional<std::vector<std::unique_ptr<RegistryEntry>>> LinuxRegistry::services(std::string_view className) {
    std::vector<std::unique_ptr<RegistryEntry>> found;
    if (className == "AppleARMPE") found.push_back(machine());
    if (className == "IOBlockStorageDriver") found = drives();
    return found;
}

/// Processors are named by their place among the ticks, which is how their kinds are matched with them.
std::unique_ptr<RegistryEntry> LinuxRegistry::machine() {
    std::vector<Entry> processors;
    for (const ProcessorKind kind : readProcessorKinds(root_, processors_.numbers())) {
        PropertyDictionary properties;
        properties.emplace_back("cluster-type", Bytes{clusterType(kind)});
        processors.emplace_back("cpu" + std::to_string(processors.size()), std::move(properties));
    }
    return std::make_unique<Entry>("machine", PropertyDictionary{}, std::move(processors));
}

std::vector<std::unique_ptr<RegistryEntry>> LinuxRegistry::drives() {
    MutexLock lock(mutex_);
    std::vector<std::unique_ptr<RegistryEntry>> found;
    for (DriveBytes& drive : drives_.read()) {
        PropertyDictionary statistics;
        statistics.emplace_back("Bytes (Read)", static_cast<std::int64_t>(drive.read));
        statistics.emplace_back("Bytes (Write)", static_cast<std::int64_t>(drive.written));
        PropertyDictionary properties;
        properties.emplace_back("Statistics", std::move(statistics));
        found.push_back(std::make_unique<Entry>(std::move(drive.name), std::move(properties)));
    }
    return found;
}

}  // namespace zqm
