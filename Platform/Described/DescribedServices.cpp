#include "Platform/Described/DescribedServices.h"

#include <nlohmann/json.hpp>

#include "Platform/Described/Reading.h"

namespace zqm {
namespace {

/// The value under `key`, or nullptr.
const Json* memberOf(const Json* object, std::string_view key) {
    if (!object) return nullptr;
    const auto found = object->find(key);
    return found == object->end() ? nullptr : &*found;
}

/// What this reading finds under `section` and `key`.
const Json* readMember(Reading& reading, MachineModel& model, std::string_view section, std::string_view key) {
    const Json* node = memberOf(memberOf(&model.description, section), key);
    return node ? reading.value(*node) : nullptr;
}

/// Reads counters of a record one by one and remembers whether one of them failed.
class CounterRecord {
public:
    CounterRecord(Reading& reading, const Json& record) : reading_(reading), record_(record) {}
    std::uint64_t operator[](std::string_view key) {
        const auto read = reading_.count(*record_.find(key));
        hasFailed_ |= !read;
        return read.value_or(0);
    }
    bool hasFailed() const { return hasFailed_; }

private:
    Reading& reading_;
    const Json& record_;
    bool hasFailed_ = false;
};

class DescribedEntry final : public RegistryEntry {
public:
    DescribedEntry(MachineModel& model, const Json& entry) : model_(model), entry_(entry), handle_(model) {}

    std::optional<std::string> name() const override {
        const Json* name = Reading(model_).value(entry_["name"]);
        return name ? std::optional(name->get<std::string>()) : std::nullopt;
    }
    std::optional<std::vector<std::unique_ptr<RegistryEntry>>> children() const override;
    std::optional<PropertyValue> property(std::string_view key) const override {
        const Json* node = memberOf(memberOf(&entry_, "properties"), key);
        return node ? Reading(model_).property(*node) : std::nullopt;
    }
    std::unique_ptr<UserClient> open(std::uint32_t) const override { return nullptr; }  // no driver is described

private:
    MachineModel& model_;
    const Json& entry_;
    CountedHandle handle_;
};

/// Handles of the entries in the array that this reading finds at `node`; none when there is no such node.
std::optional<std::vector<std::unique_ptr<RegistryEntry>>> entriesAt(MachineModel& model, const Json* node) {
    std::vector<std::unique_ptr<RegistryEntry>> entries;
    if (!node) return entries;
    const Json* array = Reading(model).value(*node);
    if (!array) return std::nullopt;
    for (const Json& entry : *array) entries.push_back(std::make_unique<DescribedEntry>(model, entry));
    return entries;
}

std::optional<std::vector<std::unique_ptr<RegistryEntry>>> DescribedEntry::children() const {
    return entriesAt(model_, memberOf(&entry_, "children"));
}

}  // namespace

std::optional<std::vector<ProcessorTicks>> DescribedHostStatistics::processorTicks() {
    Reading reading(model_);
    const Json* processors = readMember(reading, model_, "hostStatistics", "processors");
    if (!processors) return std::nullopt;
    std::vector<ProcessorTicks> ticks;
    bool hasFailed = false;
    for (const Json& processor : *processors) {
        CounterRecord record(reading, processor);
        ticks.push_back({record["user"], record["system"], record["idle"], record["nice"]});
        hasFailed |= record.hasFailed();
    }
    return hasFailed ? std::nullopt : std::optional(std::move(ticks));
}

std::optional<VirtualMemoryPages> DescribedHostStatistics::virtualMemory() {
    Reading reading(model_);
    const Json* memory = readMember(reading, model_, "hostStatistics", "virtualMemory");
    if (!memory) return std::nullopt;
    CounterRecord record(reading, *memory);
    const VirtualMemoryPages pages{record["active"],     record["inactive"],  record["speculative"], record["wired"],
                                   record["compressor"], record["purgeable"], record["external"]};
    return record.hasFailed() ? std::nullopt : std::optional(pages);
}

std::optional<std::uint64_t> DescribedHostStatistics::pageSize() {
    const Json* node = memberOf(memberOf(&model_.description, "hostStatistics"), "pageSize");
    return node ? Reading(model_).count(*node) : std::nullopt;
}

std::optional<Bytes> DescribedSysctl::read(std::string_view name) {
    Reading reading(model_);
    const Json* value = readMember(reading, model_, "sysctl", name);
    if (!value) return std::nullopt;
    if (!value->is_string()) return reading.bytes(value->contains("bytes") ? (*value)["bytes"] : *value);
    const auto& text = value->get_ref<const std::string&>();
    return Bytes(text.c_str(), text.c_str() + text.size() + 1);  // with the NUL byte
}

std::optional<std::vector<LinkInterface>> DescribedNetworkInterfaces::links() {
    Reading reading(model_);
    const Json* node = memberOf(&model_.description, "networkInterfaces");
    const Json* interfaces = node ? reading.value(*node) : nullptr;
    if (!interfaces) return std::nullopt;
    std::vector<LinkInterface> links;
    for (const Json& interface : *interfaces) {
        auto& link = links.emplace_back(LinkInterface{interface["name"].get<std::string>(), std::nullopt});
        if (!interface.contains("received")) continue;
        CounterRecord record(reading, interface);
        const LinkInterface::Counters counters{record["received"], record["sent"]};
        if (!record.hasFailed()) link.counters = counters;
    }
    return links;
}

std::optional<std::vector<std::unique_ptr<RegistryEntry>>> DescribedRegistry::services(std::string_view className) {
    return entriesAt(model_, memberOf(memberOf(&model_.description, "registry"), className));
}

ReportLibrary* DescribedIOReport::open(std::string_view) {
    return nullptr;
}

std::optional<std::vector<std::optional<PropertyDictionary>>> DescribedPowerSources::descriptions() {
    return std::nullopt;
}

std::optional<PropertyValue> DescribedPowerSources::adapterDetails() {
    return std::nullopt;
}

std::optional<std::vector<std::unique_ptr<TemperatureSensor>>> DescribedTemperatureSensors::sensors() {
    return std::nullopt;
}

}  // namespace zqm
