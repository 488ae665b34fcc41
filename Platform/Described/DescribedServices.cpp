#include "Platform/Described/DescribedServices.h"

#include <nlohmann/json.hpp>

#include "Platform/Described/Reading.h"
#include "Platform/Posix/Sockets.h"

namespace zqm {
namespace {

std::optional<PropertyDictionary> dictionaryOf(std::optional<PropertyValue> read) {
    auto* dictionary = read ? std::get_if<PropertyDictionary>(&*read) : nullptr;
    return dictionary ? std::optional(std::move(*dictionary)) : std::nullopt;
}

/// Reads counters of a record one by one and remembers whether one of them failed.
class CounterRecord {
public:
    CounterRecord(Reading& reading, const Json& record) : reading_(reading), record_(record) {}
    std::uint64_t operator[](std::string_view key) {
        const auto read = reading_.count(memberOf(&record_, key));
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
        return Reading(model_).real(memberOf(&sensor_, "temperature"));
    }

private:
    MachineModel& model_;
    const Json& sensor_;
    CountedHandle handle_;
};

}  // namespace

std::optional<std::vector<ProcessorTicks>> DescribedHostStatistics::processorTicks() {
    Reading reading(model_);
    const Json* processors = reading.value(memberOf(&model_.description, "hostStatistics", "processors"));
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
    const Json* memory = reading.value(memberOf(&model_.description, "hostStatistics", "virtualMemory"));
    if (!memory) return std::nullopt;
    CounterRecord record(reading, *memory);
    const VirtualMemoryPages pages{record["active"],     record["inactive"],  record["speculative"], record["wired"],
                                   record["compressor"], record["purgeable"], record["external"]};
    return record.hasFailed() ? std::nullopt : std::optional(pages);
}

std::optional<std::uint64_t> DescribedHostStatistics::pageSize() {
    return Reading(model_).count(memberOf(&model_.description, "hostStatistics", "pageSize"));
}

std::optional<Bytes> DescribedSysctl::read(std::string_view name) {
    Reading reading(model_);
    const Json* value = reading.value(memberOf(&model_.description, "sysctl", name));
    if (!value) return std::nullopt;
    if (!value->is_string()) return reading.bytes(value->contains("bytes") ? (*value)["bytes"] : *value);
    const auto& text = value->get_ref<const std::string&>();
    return Bytes(text.c_str(), text.c_str() + text.size() + 1);  // with the NUL byte
}

std::optional<std::vector<LinkInterface>> DescribedNetworkInterfaces::links() {
    Reading reading(model_);
    const Json* interfaces = reading.value(memberOf(&model_.description, "networkInterfaces"));
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
    const Json* described = Reading(model_).value(memberOf(&model_.description, "interfaceAddresses"));
    if (!described) return std::nullopt;
    std::vector<InterfaceAddress> addresses;
    for (const Json& address : *described) {
        const auto ipv4 = parseIPv4(address["ipv4"].get_ref<const std::string&>());
        addresses.push_back({address["name"].get<std::string>(), ipv4.value_or(0)});
    }
    return addresses;
}

std::optional<PropertyDictionary> DescribedProxySettings::proxySettings() {
    return dictionaryOf(Reading(model_).property(memberOf(&model_.description, "systemFacts", "proxySettings")));
}

std::optional<std::string> DescribedSystemFacts::bundleText(std::string_view key) {
    return Reading(model_).text(memberOf(memberOf(&model_.description, "systemFacts", "bundle"), key));
}

std::string DescribedSystemFacts::systemVersion() {
    return Reading(model_).text(memberOf(&model_.description, "systemFacts", "systemVersion")).value_or("unknown");
}

std::optional<std::vector<std::optional<PropertyDictionary>>> DescribedPowerSources::descriptions() {
    Reading reading(model_);
    const Json* sources = reading.value(memberOf(&model_.description, "powerSources", "sources"));
    if (!sources) return std::nullopt;
    std::vector<std::optional<PropertyDictionary>> descriptions;
    for (const Json& source : *sources) descriptions.push_back(dictionaryOf(reading.property(&source)));
    return descriptions;
}

std::optional<PropertyValue> DescribedPowerSources::adapterDetails() {
    return Reading(model_).property(memberOf(&model_.description, "powerSources", "adapter"));
}

std::optional<std::vector<std::unique_ptr<TemperatureSensor>>> DescribedTemperatureSensors::sensors() {
    const Json* array = Reading(model_).value(memberOf(&model_.description, "temperatureSensors"));
    if (!array) return std::nullopt;
    std::vector<std::unique_ptr<TemperatureSensor>> sensors;
    for (const Json& sensor : *array) sensors.push_back(std::make_unique<DescribedSensor>(model_, sensor));
    return sensors;
}

}  // namespace zqm
