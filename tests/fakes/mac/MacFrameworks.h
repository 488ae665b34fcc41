#pragma once

#include <cstring>

#include "Platform/Apple/TemperatureSensors.h"
#include "Support/Text.h"
#include "tests/fakes/mac/MacDouble.h"

namespace zqm {

/// CoreFoundation, CFNetwork and IOKit as their functions are called.
struct MacFrameworks : MacFunctions {
    static void CFRelease(CFTypeRef object) { now->release(handleOf(object)); }
    static CFTypeID CFGetTypeID(CFTypeRef object) {
        const MacObject& found = at(object);
        if (!found.kind.empty()) return found.kind == "sample" || found.kind.starts_with("channel") ? 7 : 99;
        return found.value.index() == 2 ? 2 : found.value.index() + 1;
    }
    static CFTypeID CFBooleanGetTypeID() { return 1; }
    static CFTypeID CFNumberGetTypeID() { return 2; }
    static CFTypeID CFStringGetTypeID() { return 4; }
    static CFTypeID CFDataGetTypeID() { return 5; }
    static CFTypeID CFArrayGetTypeID() { return 6; }
    static CFTypeID CFDictionaryGetTypeID() { return 7; }
    static CFFlag CFBooleanGetValue(CFTypeRef flag) { return valueOf<bool>(flag); }
    static CFTypeRef CFNumberCreate(CFTypeRef, CFIndex type, const void* value) {
        if (type == cfFloat64) return make(*static_cast<const double*>(value));
        require(type == cfSInt64, "a type of number that is not known");
        return make(*static_cast<const std::int64_t*>(value));
    }
    static CFFlag CFNumberIsFloatType(CFTypeRef number) { return at(number).value.index() == 2; }
    static CFFlag CFNumberGetValue(CFTypeRef number, CFIndex type, void* value) {
        const bool isReal = CFNumberIsFloatType(number);
        if ((type == cfFloat64) != isReal) return 0;  // what is lost is not told
        std::memcpy(value, isReal ? static_cast<void*>(&valueOf<double>(number)) : &valueOf<std::int64_t>(number), 8);
        return 1;
    }
    static CFTypeRef CFStringCreateWithBytes(CFTypeRef, const std::uint8_t* bytes, CFIndex count,
                                             std::uint32_t encoding, CFFlag) {
        const std::string text(bytes, bytes + count);
        return encoding == cfUtf8 && isValidUtf8(text) ? make(text) : nullptr;
    }
    static CFIndex CFStringGetLength(CFTypeRef text) {  // characters beyond the first plane count twice
        CFIndex units = 0;
        for (const unsigned char c : valueOf<std::string>(text)) units += (c >= 0xF0) + ((c & 0xC0) != 0x80);
        return units;
    }
    static CFIndex CFStringGetBytes(CFTypeRef text, CFRange range, std::uint32_t encoding, std::uint8_t lossByte,
                                    CFFlag, std::uint8_t* buffer, CFIndex size, CFIndex* used) {
        const auto& bytes = valueOf<std::string>(text);
        require(range.location == 0 && range.length == CFStringGetLength(text), "not the whole text");
        require(encoding == cfUtf8 && lossByte, "another form of text");
        *used = static_cast<CFIndex>(bytes.size());
        require(!buffer || size >= *used, "no room for the text");
        if (buffer) std::memcpy(buffer, bytes.data(), bytes.size());
        return range.length;
    }
    static const std::uint8_t* CFDataGetBytePtr(CFTypeRef data) { return valueOf<Bytes>(data).data(); }
    static CFIndex CFDataGetLength(CFTypeRef data) { return static_cast<CFIndex>(valueOf<Bytes>(data).size()); }
    static CFIndex CFArrayGetCount(CFTypeRef array) {
        require(std::holds_alternative<PropertyArray>(at(array).value), "no array");
        return static_cast<CFIndex>(at(array).parts.size());
    }
    static CFTypeRef CFArrayGetValueAtIndex(CFTypeRef array, CFIndex index) {
        return refOf(at(array).parts.at(static_cast<std::size_t>(index)));
    }
    static CFIndex CFDictionaryGetCount(CFTypeRef dictionary) {
        const MacObject& found = at(dictionary);
        const bool areChannels = found.kind == "channels";
        return static_cast<CFIndex>(areChannels ? static_cast<ReportChannels*>(found.of.get())->entryCount()
                                                : found.parts.size() / 2);
    }
    static CFTypeRef CFDictionaryGetValue(CFTypeRef dictionary, CFTypeRef key) {
        require(std::holds_alternative<PropertyDictionary>(at(dictionary).value), "no dictionary");
        const auto& parts = at(dictionary).parts;
        std::size_t i = 0;
        while (i < parts.size() && at(refOf(parts[i])).value != at(key).value) i += 2;
        return i < parts.size() ? refOf(parts[i + 1]) : nullptr;
    }
    static void CFDictionaryGetKeysAndValues(CFTypeRef dictionary, CFTypeRef* keys, CFTypeRef* values) {
        const auto& parts = at(dictionary).parts;
        for (std::size_t i = 0; i < parts.size(); i += 2) {
            keys[i / 2] = refOf(parts[i]);
            values[i / 2] = refOf(parts[i + 1]);
        }
    }
    static constexpr char kCFTypeDictionaryKeyCallBacks = 1, kCFTypeDictionaryValueCallBacks = 2;
    static CFTypeRef CFDictionaryCreate(CFTypeRef, const CFTypeRef* keys, const CFTypeRef* values, CFIndex count,
                                        const void* keyCallBacks, const void* valueCallBacks) {
        require(keyCallBacks == &kCFTypeDictionaryKeyCallBacks, "keys that nobody keeps");
        require(valueCallBacks == &kCFTypeDictionaryValueCallBacks, "values that nobody keeps");
        PropertyDictionary members;
        for (CFIndex i = 0; i < count; ++i) members.emplace_back(valueOf<std::string>(keys[i]), at(values[i]).value);
        return make(members);
    }
    static CFTypeRef CFDictionaryCreateMutableCopy(CFTypeRef, CFIndex, CFTypeRef dictionary) {
        auto copy = seamOf<ReportChannels>(handleOf(dictionary), "channels").mutableCopy();
        return copy ? add({"channels", PropertyDictionary(), shared(std::move(copy)), {}, 1}) : nullptr;
    }
    static CFTypeRef CFBundleGetMainBundle() {
        if (!now->bundle) now->bundle = now->add({"bundle"});
        return refOf(now->bundle);
    }
    static CFTypeRef CFBundleGetValueForInfoDictionaryKey(CFTypeRef bundle, CFTypeRef key) {
        return lend(bundle, now->machine.systemFacts.bundleText(valueOf<std::string>(key)));
    }
    static CFTypeRef CFNetworkCopySystemProxySettings() { return make(now->machine.proxySettings.proxySettings()); }

    using Entries = std::vector<std::unique_ptr<RegistryEntry>>;
    static KernelReturn giveAll(IOObject* iterator, std::optional<Entries> entries) {
        return give(iterator, "iterator", entries ? std::make_shared<Entries>(std::move(*entries)) : nullptr);
    }
    static CFTypeRef IOServiceMatching(const char* className) { return make(std::string(className)); }
    static KernelReturn IOServiceGetMatchingServices(MachPort, CFTypeRef matching, IOObject* iterator) {
        const std::string className = valueOf<std::string>(matching);
        CFRelease(matching);
        if (now->fails("IOServiceGetMatchingServices")) return 5;
        auto entries = now->machine.registry.services(className);
        return entries && entries->empty() ? 0 : giveAll(iterator, std::move(entries));
    }
    static IOObject IOIteratorNext(IOObject iterator) {
        auto& entries = seamOf<Entries>(iterator, "iterator");
        const auto next = static_cast<std::size_t>(now->at(iterator, "iterator").state++);
        IOObject entry = 0;
        if (next < entries.size()) give(&entry, "entry", shared(std::move(entries[next])));
        return entry;
    }
    static KernelReturn IOObjectRelease(IOObject object) { return now->giveBack(object, "entry or iterator"), 0; }
    static KernelReturn IORegistryEntryGetName(IOObject entry, char* name) {
        if (now->fails("IORegistryEntryGetName")) return std::memset(name, 0xFF, sizeof(IOName)), 0;  // no text
        const auto told = seamOf<RegistryEntry>(entry, "entry").name();
        if (told) std::strncpy(name, told->c_str(), sizeof(IOName));
        return told ? 0 : 5;
    }
    static KernelReturn IORegistryEntryGetChildIterator(IOObject entry, const char* plane, IOObject* iterator) {
        require(std::string_view(plane) == "IOService", "another plane");
        return giveAll(iterator, seamOf<RegistryEntry>(entry, "entry").children());
    }
    static CFTypeRef IORegistryEntryCreateCFProperty(IOObject entry, CFTypeRef key, CFTypeRef, std::uint32_t) {
        return make(seamOf<RegistryEntry>(entry, "entry").property(valueOf<std::string>(key)));
    }
    static KernelReturn IOServiceOpen(IOObject service, MachPort task, std::uint32_t type, IOObject* connection) {
        require(task == 0x103, "another task");
        return give(connection, "connection", shared(seamOf<RegistryEntry>(service, "entry").open(type)));
    }
    static KernelReturn IOServiceClose(IOObject connection) { return now->giveBack(connection, "connection"), 0; }
    static KernelReturn IOConnectCallStructMethod(IOObject connection, std::uint32_t selector, const void* input,
                                                  std::size_t inputSize, void* output, std::size_t* outputSize) {
        const std::span in(static_cast<const std::uint8_t*>(input), inputSize);
        const std::span out(static_cast<std::uint8_t*>(output), *outputSize);
        return seamOf<UserClient>(connection, "connection").callStruct(selector, in, out) ? 0 : 5;
    }

    static CFTypeRef IOPSCopyPowerSourcesInfo() {
        const auto sources = now->machine.powerSources.descriptions();
        MacObject info{"sources"};
        if (!sources) return nullptr;
        for (const auto& source : *sources) info.parts.push_back(now->make(source ? *source : PropertyValue(false)));
        return add(std::move(info));
    }
    static CFTypeRef IOPSCopyPowerSourcesList(CFTypeRef info) {
        PropertyArray places;
        for (std::size_t i = 0; i < at(info, "sources").parts.size(); ++i) places.emplace_back(std::int64_t(i));
        return make(places);
    }
    static CFTypeRef IOPSGetPowerSourceDescription(CFTypeRef info, CFTypeRef source) {
        const auto place = static_cast<std::size_t>(valueOf<std::int64_t>(source));
        const CFTypeRef found = refOf(at(info, "sources").parts.at(place));
        return asDictionary(&at(found).value) ? found : nullptr;
    }
    static CFTypeRef IOPSCopyExternalPowerAdapterDetails() { return make(now->machine.powerSources.adapterDetails()); }

    static CFTypeRef IOHIDEventSystemClientCreate(CFTypeRef) { return add({"client"}); }
    static int IOHIDEventSystemClientSetMatching(CFTypeRef client, CFTypeRef matching) {
        const PropertyDictionary sensors{{"PrimaryUsagePage", std::int64_t{65280}}, {"PrimaryUsage", std::int64_t{5}}};
        require(valueOf<PropertyDictionary>(matching) == sensors, "other services than temperature sensors");
        return at(client, "client").state = 1;
    }
    static CFTypeRef IOHIDEventSystemClientCopyServices(CFTypeRef client) {
        int& state = at(client, "client").state;
        require(state > 0, "every service there is");
        const bool isRefused = now->fails("IOHIDEventSystemClientCopyServices");
        if (isRefused && state == 2) state = 3;  // one that has listed services has lost its server, for ever
        auto sensors = isRefused || state == 3 ? std::nullopt : now->machine.temperatureSensors.sensors();
        if (!sensors) return nullptr;
        state = 2;
        MacObject list{"", PropertyArray()};
        for (auto& sensor : *sensors) list.parts.push_back(now->add({"service", {}, shared(std::move(sensor))}));
        return add(std::move(list));
    }
    static CFTypeRef IOHIDServiceClientCopyProperty(CFTypeRef service, CFTypeRef key) {
        require(valueOf<std::string>(key) == "Product", "another property");
        return make(seamOf<TemperatureSensor>(handleOf(service), "service").product());
    }
    static CFTypeRef IOHIDServiceClientCopyEvent(CFTypeRef service, std::int64_t type, std::int32_t, std::int64_t) {
        require(type == 15, "another event");
        const auto celsius = seamOf<TemperatureSensor>(handleOf(service), "service").temperature();
        return celsius ? add({"event", *celsius}) : nullptr;
    }
    static double IOHIDEventGetFloatValue(CFTypeRef event, std::int32_t field) {
        require(field == 0xF0000, "another field");
        return std::get<double>(at(event, "event").value);
    }
};

}  // namespace zqm
