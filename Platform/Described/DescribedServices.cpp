#include "Platform/Described/DescribedServices.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "Platform/Described/Reading.h"
#include "Platform/Posix/Sockets.h"
#include "Support/Text.h"

namespace zqm {
namespace {

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

class DescribedSensor final : public TemperatureSensor {
public:
    DescribedSensor(MachineModel& model, const Json& sensor) : model_(model), sensor_(sensor), handle_(model) {}

    std::optional<std::string> product() const override { return Reading(model_).text(memberOf(&sensor_, "product")); }
    std::optional<double> temperature() const override {
        const Json* node = memberOf(&sensor_, "temperature");
        return node ? Reading(model_).real(*node) : std::nullopt;
    }

private:
    MachineModel& model_;
    const Json& sensor_;
    CountedHandle handle_;
};

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

std::optional<std::vector<InterfaceAddress>> DescribedInterfaceAddresses::ipv4() {
    const Json* node = memberOf(&model_.description, "interfaceAddresses");
    const Json* described = node ? Reading(model_).value(*node) : nullptr;
    if (!described) return std::nullopt;
    std::vector<InterfaceAddress> addresses;
    for (const Json& address : *described) {
        const auto ipv4 = parseIPv4(address["ipv4"].get_ref<const std::string&>());
        addresses.push_back({address["name"].get<std::string>(), ipv4.value_or(0)});
    }
    return addresses;
}

std::optional<PropertyDictionary> DescribedProxySettings::proxySettings() {
    const Json* node = memberOf(memberOf(&model_.description, "systemFacts"), "proxySettings");
    auto read = node ? Reading(model_).property(*node) : std::nullopt;
    auto* dictionary = read ? std::get_if<PropertyDictionary>(&*read) : nullptr;
    return dictionary ? std::optional(std::move(*dictionary)) : std::nullopt;
}

std::optional<std::string> DescribedSystemFacts::bundleText(std::string_view key) {
    const Json* bundle = memberOf(memberOf(&model_.description, "systemFacts"), "bundle");
    return Reading(model_).text(memberOf(bundle, key));
}

/// A text of the kernel's values; nullopt when it is unknown or empty.
std::optional<std::string> DescribedSystemFacts::told(std::string_view name) {
    const auto bytes = sysctl_.read(name);
    if (!bytes || bytes->empty()) return std::nullopt;
    return repairUtf8(std::string(bytes->begin(), std::find(bytes->begin(), bytes->end(), std::uint8_t{0})));
}

std::string DescribedSystemFacts::systemVersion() {
    const Json* node = memberOf(memberOf(&model_.description, "systemFacts"), "systemVersion");
    return Reading(model_).text(node).value_or("unknown");
}

std::optional<std::vector<std::optional<PropertyDictionary>>> DescribedPowerSources::descriptions() {
    Reading reading(model_);
    const Json* sources = readMember(reading, model_, "powerSources", "sources");
    if (!sources) return std::nullopt;
    std::vector<std::optional<PropertyDictionary>> descriptions;
    for (const Json& source : *sources) {
        auto read = reading.property(source);
        auto* dictionary = read ? std::get_if<PropertyDictionary>(&*read) : nullptr;
        descriptions.push_back(dictionary ? std::optional(std::move(*dictionary)) : std::nullopt);
    }
    return descriptions;
}

std::optional<PropertyValue> DescribedPowerSources::adapterDetails() {
    const Json* node = memberOf(memberOf(&model_.description, "powerSources"), "adapter");
    return node ? Reading(model_).property(*node) : std::nullopt;
}

std::optional<std::vector<std::unique_ptr<TemperatureSensor>>> DescribedTemperatureSensors::sensors() {
    const Json* node = memberOf(&model_.description, "temperatureSensors");
    const Json* array = node ? Reading(model_).value(*node) : nullptr;
    if (!array) return std::nullopt;
    std::vector<std::unique_ptr<TemperatureSensor>> sensors;
    for (const Json& sensor : *array) sensors.push_back(std::make_unique<DescribedSensor>(model_, sensor));
    return sensors;
}

}  // namespace zqm
