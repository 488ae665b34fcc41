#include "tests/fakes/mac/MacDouble.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <stdexcept>

#include "Platform/Apple/TemperatureSensors.h"
#include "Platform/Mac/Libraries/IOReportCalls.h"
#include "Support/Text.h"

namespace zqm {
namespace {

using Handle = std::uintptr_t;  // a number that is never used again, so that none is taken for another
using Entries = std::vector<std::unique_ptr<RegistryEntry>>;
constexpr KernelReturn refused = 5;

/// What a handle stands for. `kind` says who gives it back and what `of` points at.
struct Object {
    std::string kind;
    PropertyValue value{};        // what an object of CoreFoundation is, but for what is in it
    std::shared_ptr<void> of{};   // of the seam
    std::vector<Handle> parts{};  // owned: elements, keys and values in turn, what was lent
    std::size_t position = 0;
};

struct System {
    MacDouble& libraries;
    MachineServices machine;
    std::map<Handle, Object> live{};
    std::vector<std::string> mistakes{};
    std::map<std::string, Bytes> asked{};  // values whose size was asked for
    ReportLibrary* reports = nullptr;
    Handle last = 0x1000;
    Handle bundle = 0;

    Handle add(Object object) {
        live.emplace(++last, std::move(object));
        return last;
    }
    Object& at(Handle handle, std::string_view kind) {
        const auto found = live.find(handle);
        if (found == live.end() || (found->second.kind != kind && !kind.empty())) {
            throw std::logic_error("not a live " + std::string(kind));
        }
        return found->second;
    }
    /// Gives back an object of CoreFoundation with what belongs to it.
    void release(Handle handle) {
        constexpr std::string_view kernels = "entry iterator connection port page addresses for ever";
        const auto found = live.find(handle);
        if (found == live.end() || (!found->second.kind.empty() && kernels.find(found->second.kind) != kernels.npos)) {
            return mistakes.push_back("released what is none of the caller's");
        }
        for (const auto node = live.extract(found); const Handle part : node.mapped().parts) release(part);
    }
    Handle make(const PropertyValue& value) {
        Object object{"", value};
        if (const auto* array = std::get_if<PropertyArray>(&value)) {
            for (const auto& element : *array) object.parts.push_back(make(element));
        } else if (const auto* dictionary = asDictionary(&value)) {
            for (const auto& [key, member] : *dictionary) {
                object.parts.push_back(make(key));
                object.parts.push_back(make(member));
            }
        }
        return add(std::move(object));
    }
};
System* now = nullptr;

Handle handleOf(CFTypeRef object) {
    return reinterpret_cast<Handle>(object);
}
CFTypeRef refOf(Handle handle) {
    return reinterpret_cast<CFTypeRef>(handle);
}
CFTypeRef make(const std::optional<PropertyValue>& value) {
    return value ? refOf(now->make(*value)) : nullptr;
}
Object& at(CFTypeRef object, std::string_view kind = "") {
    return now->at(handleOf(object), kind);
}
template <class Type>
Type& valueOf(CFTypeRef object) {
    return std::get<Type>(at(object).value);
}
/// What the object of this kind stands for in the seam.
template <class Type>
Type& seamOf(Handle handle, std::string_view kind) {
    return *static_cast<Type*>(now->at(handle, kind).of.get());
}
template <class Type>
std::shared_ptr<void> shared(std::unique_ptr<Type> of) {
    return std::shared_ptr<Type>(std::move(of));
}
/// Makes a value that belongs to `owner`.
CFTypeRef lend(CFTypeRef owner, const std::optional<PropertyValue>& value) {
    if (!value) return nullptr;
    at(owner).parts.push_back(now->make(*value));
    return refOf(at(owner).parts.back());
}
void require(bool condition, const char* what) {
    if (!condition) throw std::logic_error(what);
}
/// Hands out what the kernel keeps: entries, iterators, connections, ports.
MachPort give(std::string kind, std::shared_ptr<void> of) {
    return static_cast<MachPort>(now->add({std::move(kind), {}, std::move(of)}));
}
KernelReturn give(MachPort* out, const char* kind, std::shared_ptr<void> of) {
    *out = of ? give(kind, of) : 0;
    return of ? 0 : refused;
}

#define FAIL_WITH(failure) \
    if (now->libraries.fails && now->libraries.fails(__func__)) return failure

}  // namespace

// As the system's libraries name them.
namespace calls {

void CFRelease(CFTypeRef object) {
    now->release(handleOf(object));
}
CFTypeID CFGetTypeID(CFTypeRef object) {
    FAIL_WITH(77);
    const Object& found = at(object);
    if (found.kind == "sample" || found.kind == "channel" || found.kind == "channels") return 7;
    if (!found.kind.empty()) return 99;
    return found.value.index() == 2 ? 2 : found.value.index() + 1;
}
CFTypeID CFBooleanGetTypeID() {
    return 1;
}
CFTypeID CFNumberGetTypeID() {
    return 2;
}
CFTypeID CFStringGetTypeID() {
    return 4;
}
CFTypeID CFDataGetTypeID() {
    return 5;
}
CFTypeID CFArrayGetTypeID() {
    return 6;
}
CFTypeID CFDictionaryGetTypeID() {
    return 7;
}
CFFlag CFBooleanGetValue(CFTypeRef flag) {
    return valueOf<bool>(flag);
}
CFTypeRef CFNumberCreate(CFTypeRef, CFIndex type, const void* value) {
    FAIL_WITH(nullptr);
    require(type == cfSInt64, "a type of number that is not known");
    return make(*static_cast<const std::int64_t*>(value));
}
CFFlag CFNumberIsFloatType(CFTypeRef number) {
    return std::holds_alternative<double>(at(number).value);
}
CFFlag CFNumberGetValue(CFTypeRef number, CFIndex type, void* value) {
    FAIL_WITH(0);
    const PropertyValue& found = at(number).value;
    const double real = std::holds_alternative<double>(found) ? std::get<double>(found) : 0;
    if (type == cfFloat64) return std::memcpy(value, &real, sizeof real), std::holds_alternative<double>(found);
    const std::int64_t whole = real != 0 ? asInteger(&found).value_or(0) : valueOf<std::int64_t>(number);
    return std::memcpy(value, &whole, sizeof whole), real == 0;
}
CFTypeRef CFStringCreateWithBytes(CFTypeRef, const std::uint8_t* bytes, CFIndex count, std::uint32_t encoding, CFFlag) {
    FAIL_WITH(nullptr);
    const std::string text(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(count));
    return encoding == cfUtf8 && isValidUtf8(text) ? make(text) : nullptr;
}
CFIndex CFStringGetLength(CFTypeRef text) {  // characters beyond the first plane count twice
    CFIndex units = 0;
    for (const unsigned char byte : valueOf<std::string>(text)) units += (byte & 0xC0) != 0x80, units += byte >= 0xF0;
    return units;
}
CFIndex CFStringGetBytes(CFTypeRef text, CFRange range, std::uint32_t encoding, std::uint8_t lossByte, CFFlag,
                         std::uint8_t* buffer, CFIndex size, CFIndex* used) {
    *used = 0;
    FAIL_WITH(0);
    const auto& bytes = valueOf<std::string>(text);
    require(range.location == 0 && range.length == CFStringGetLength(text), "not the whole text");
    require(encoding == cfUtf8 && lossByte, "another form of text");
    *used = static_cast<CFIndex>(bytes.size());
    require(!buffer || size >= *used, "no room for the text");
    if (buffer) std::memcpy(buffer, bytes.data(), bytes.size());
    return range.length;
}
const std::uint8_t* CFDataGetBytePtr(CFTypeRef data) {
    return valueOf<Bytes>(data).data();
}
CFIndex CFDataGetLength(CFTypeRef data) {
    return static_cast<CFIndex>(valueOf<Bytes>(data).size());
}
CFIndex CFArrayGetCount(CFTypeRef array) {
    FAIL_WITH(CFIndex{1} << 40);
    require(at(array).value.index() == 5, "no array");
    return static_cast<CFIndex>(at(array).parts.size());
}
CFTypeRef CFArrayGetValueAtIndex(CFTypeRef array, CFIndex index) {
    FAIL_WITH(nullptr);
    return refOf(at(array).parts.at(static_cast<std::size_t>(index)));
}
CFIndex CFDictionaryGetCount(CFTypeRef dictionary) {
    FAIL_WITH(-1);
    const Object& found = at(dictionary);
    if (found.kind == "channels") {
        return static_cast<CFIndex>(static_cast<ReportChannels*>(found.of.get())->entryCount());
    }
    return static_cast<CFIndex>(found.parts.size() / 2);
}
CFTypeRef CFDictionaryGetValue(CFTypeRef dictionary, CFTypeRef key) {
    FAIL_WITH(nullptr);
    const auto& parts = at(dictionary).parts;
    require(at(dictionary).value.index() == 6, "no dictionary");
    for (std::size_t i = 0; i < parts.size(); i += 2) {
        if (at(refOf(parts[i])).value == at(key).value) return refOf(parts[i + 1]);
    }
    return nullptr;
}
void CFDictionaryGetKeysAndValues(CFTypeRef dictionary, CFTypeRef* keys, CFTypeRef* values) {
    const auto& parts = at(dictionary).parts;
    for (std::size_t i = 0; i < parts.size(); ++i) (i % 2 ? values : keys)[i / 2] = refOf(parts[i]);
}
const char kCFTypeDictionaryKeyCallBacks = 1, kCFTypeDictionaryValueCallBacks = 2;
CFTypeRef CFDictionaryCreate(CFTypeRef, const CFTypeRef* keys, const CFTypeRef* values, CFIndex count,
                             const void* keyCallBacks, const void* valueCallBacks) {
    FAIL_WITH(nullptr);
    require(keyCallBacks == &kCFTypeDictionaryKeyCallBacks, "keys that nobody keeps");
    require(valueCallBacks == &kCFTypeDictionaryValueCallBacks, "values that nobody keeps");
    PropertyDictionary members;
    for (CFIndex i = 0; i < count; ++i) members.emplace_back(valueOf<std::string>(keys[i]), at(values[i]).value);
    return make(members);
}
CFTypeRef CFDictionaryCreateMutableCopy(CFTypeRef, CFIndex, CFTypeRef dictionary) {
    FAIL_WITH(nullptr);
    Object copy{"channels", PropertyDictionary(),
                shared(seamOf<ReportChannels>(handleOf(dictionary), "channels").mutableCopy())};
    copy.position = 1;  // may be changed
    return copy.of ? refOf(now->add(std::move(copy))) : nullptr;
}
CFTypeRef CFBundleGetMainBundle() {
    FAIL_WITH(nullptr);
    if (!now->bundle) now->bundle = now->add({"for ever"});
    return refOf(now->bundle);
}
CFTypeRef CFBundleGetValueForInfoDictionaryKey(CFTypeRef bundle, CFTypeRef key) {
    FAIL_WITH(nullptr);
    return lend(bundle, now->machine.systemFacts.bundleText(valueOf<std::string>(key)));
}

CFTypeRef IOServiceMatching(const char* className) {
    FAIL_WITH(nullptr);
    return make(std::string(className));
}
KernelReturn IOServiceGetMatchingServices(MachPort, CFTypeRef matching, IOObject* iterator) {
    const std::string className = valueOf<std::string>(matching);
    CFRelease(matching);
    FAIL_WITH(refused);
    auto services = now->machine.registry.services(className);
    if (!services) return refused;
    *iterator = services->empty() ? 0 : give("iterator", std::make_shared<Entries>(std::move(*services)));
    return 0;
}
IOObject IOIteratorNext(IOObject iterator) {
    FAIL_WITH(0);
    auto& entries = seamOf<Entries>(iterator, "iterator");
    auto& position = now->at(iterator, "iterator").position;
    return position < entries.size() ? give("entry", shared(std::move(entries[position++]))) : 0;
}
KernelReturn IOObjectRelease(IOObject object) {
    const auto found = now->live.find(object);
    const bool is = found != now->live.end() && (found->second.kind == "entry" || found->second.kind == "iterator");
    if (is) now->live.erase(found);
    if (!is) now->mistakes.push_back("released what is no object");
    return 0;
}
KernelReturn IORegistryEntryGetName(IOObject entry, char* name) {
    FAIL_WITH(refused);
    const auto told = seamOf<RegistryEntry>(entry, "entry").name();
    if (told) std::strncpy(name, told->c_str(), sizeof(IOName));
    return told ? 0 : refused;
}
KernelReturn IORegistryEntryGetChildIterator(IOObject entry, const char* plane, IOObject* iterator) {
    FAIL_WITH(refused);
    require(std::string_view(plane) == "IOService", "another plane");
    auto children = seamOf<RegistryEntry>(entry, "entry").children();
    return give(iterator, "iterator", children ? std::make_shared<Entries>(std::move(*children)) : nullptr);
}
CFTypeRef IORegistryEntryCreateCFProperty(IOObject entry, CFTypeRef key, CFTypeRef, std::uint32_t) {
    FAIL_WITH(nullptr);
    return make(seamOf<RegistryEntry>(entry, "entry").property(valueOf<std::string>(key)));
}
const MachPort mach_task_self_ = 0x103;
KernelReturn IOServiceOpen(IOObject service, MachPort task, std::uint32_t type, IOObject* connection) {
    FAIL_WITH(refused);
    require(task == mach_task_self_, "another task");
    return give(connection, "connection", shared(seamOf<RegistryEntry>(service, "entry").open(type)));
}
KernelReturn IOServiceClose(IOObject connection) {
    now->at(connection, "connection");
    now->live.erase(connection);
    return 0;
}
KernelReturn IOConnectCallStructMethod(IOObject connection, std::uint32_t selector, const void* input,
                                       std::size_t inputSize, void* output, std::size_t* outputSize) {
    FAIL_WITH(refused);
    const std::span in(static_cast<const std::uint8_t*>(input), inputSize);
    const std::span out(static_cast<std::uint8_t*>(output), *outputSize);
    return seamOf<UserClient>(connection, "connection").callStruct(selector, in, out) ? 0 : refused;
}

CFTypeRef IOPSCopyPowerSourcesInfo() {
    FAIL_WITH(nullptr);
    const auto sources = now->machine.powerSources.descriptions();
    if (!sources) return nullptr;
    Object info{"sources"};
    for (const auto& source : *sources) info.parts.push_back(now->make(source ? *source : PropertyValue(false)));
    return refOf(now->add(std::move(info)));
}
CFTypeRef IOPSCopyPowerSourcesList(CFTypeRef info) {
    FAIL_WITH(nullptr);
    PropertyArray places;
    for (std::size_t i = 0; i < at(info, "sources").parts.size(); ++i) places.push_back(static_cast<std::int64_t>(i));
    return make(places);
}
CFTypeRef IOPSGetPowerSourceDescription(CFTypeRef info, CFTypeRef source) {
    FAIL_WITH(nullptr);
    const CFTypeRef found =
        refOf(at(info, "sources").parts.at(static_cast<std::size_t>(valueOf<std::int64_t>(source))));
    return at(found).value.index() == 0 ? nullptr : found;
}
CFTypeRef IOPSCopyExternalPowerAdapterDetails() {
    FAIL_WITH(nullptr);
    return make(now->machine.powerSources.adapterDetails());
}

CFTypeRef IOHIDEventSystemClientCreate(CFTypeRef) {
    FAIL_WITH(nullptr);
    return refOf(now->add({"client"}));
}
int IOHIDEventSystemClientSetMatching(CFTypeRef client, CFTypeRef matching) {
    const PropertyDictionary sensors{{"PrimaryUsagePage", std::int64_t{65280}}, {"PrimaryUsage", std::int64_t{5}}};
    require(valueOf<PropertyDictionary>(matching) == sensors, "other services than temperature sensors");
    at(client, "client").position = 1;
    return 1;
}
CFTypeRef IOHIDEventSystemClientCopyServices(CFTypeRef client) {
    auto& state = at(client, "client").position;
    FAIL_WITH((state = 2, nullptr));  // its server is gone, for this client
    if (state == 2) return nullptr;
    require(state == 1, "every service there is");
    auto sensors = now->machine.temperatureSensors.sensors();
    if (!sensors) return nullptr;
    Object list{"", PropertyArray()};
    for (auto& sensor : *sensors) list.parts.push_back(now->add({"service", {}, shared(std::move(sensor))}));
    return refOf(now->add(std::move(list)));
}
CFTypeRef IOHIDServiceClientCopyProperty(CFTypeRef service, CFTypeRef key) {
    FAIL_WITH(nullptr);
    require(valueOf<std::string>(key) == "Product", "another property");
    const auto product = seamOf<TemperatureSensor>(handleOf(service), "service").product();
    return product ? make(*product) : nullptr;
}
CFTypeRef IOHIDServiceClientCopyEvent(CFTypeRef service, std::int64_t type, std::int32_t, std::int64_t) {
    FAIL_WITH(nullptr);
    require(type == 15, "another event");
    const auto celsius = seamOf<TemperatureSensor>(handleOf(service), "service").temperature();
    return celsius ? refOf(now->add({"event", *celsius})) : nullptr;
}
double IOHIDEventGetFloatValue(CFTypeRef event, std::int32_t field) {
    require(field == 0xF0000, "another field");
    return std::get<double>(at(event, "event").value);
}

CFTypeRef IOReportCopyChannelsInGroup(CFTypeRef group, CFTypeRef subgroup, std::uint64_t, std::uint64_t,
                                      std::uint64_t) {
    FAIL_WITH(nullptr);
    std::optional<std::string> inner;
    if (subgroup) inner = valueOf<std::string>(subgroup);
    auto channels = now->reports->copyChannelsInGroup(valueOf<std::string>(group), inner);
    return channels ? refOf(now->add({"channels", PropertyDictionary(), shared(std::move(channels))})) : nullptr;
}
void IOReportMergeChannels(CFTypeRef destination, CFTypeRef source, CFTypeRef) {
    require(at(destination, "channels").position == 1, "changed what may not be changed");
    now->reports->mergeChannels(seamOf<ReportChannels>(handleOf(destination), "channels"),
                                seamOf<ReportChannels>(handleOf(source), "channels"));
}
void* IOReportCreateSubscription(void*, CFTypeRef channels, CFTypeRef* subscribed, std::uint64_t, CFTypeRef) {
    FAIL_WITH(nullptr);
    require(at(channels, "channels").position == 1 && !*subscribed, "subscribed to what may not be changed");
    return now->reports->createSubscription(seamOf<ReportChannels>(handleOf(channels), "channels"));
}
CFTypeRef sampleOf(std::unique_ptr<ReportSample> created) {
    if (!created) return nullptr;
    Object sample{"sample", PropertyDictionary()};
    if (const auto channels = created->channels()) {
        Object list{"", PropertyArray()};
        for (const ReportChannel* channel : *channels) {
            auto* const unowned = const_cast<ReportChannel*>(channel);
            list.parts.push_back(
                now->add({"channel", PropertyDictionary(), std::shared_ptr<void>(unowned, [](void*) {})}));
        }
        sample.parts = {now->make("IOReportChannels"), now->add(std::move(list))};
    }
    sample.of = shared(std::move(created));
    return refOf(now->add(std::move(sample)));
}
CFTypeRef IOReportCreateSamples(void* subscription, CFTypeRef channels, CFTypeRef) {
    FAIL_WITH(nullptr);
    return sampleOf(now->reports->createSamples(*static_cast<ReportSubscription*>(subscription),
                                                seamOf<ReportChannels>(handleOf(channels), "channels")));
}
CFTypeRef IOReportCreateSamplesDelta(CFTypeRef earlier, CFTypeRef later, CFTypeRef) {
    FAIL_WITH(nullptr);
    return sampleOf(now->reports->createSamplesDelta(seamOf<ReportSample>(handleOf(earlier), "sample"),
                                                     seamOf<ReportSample>(handleOf(later), "sample")));
}
const ReportChannel& channelAt(CFTypeRef channel) {
    return seamOf<ReportChannel>(handleOf(channel), "channel");
}
CFTypeRef IOReportChannelGetChannelName(CFTypeRef channel) {
    FAIL_WITH(nullptr);
    return lend(channel, now->reports->channelGetChannelName(channelAt(channel)));
}
CFTypeRef IOReportChannelGetUnitLabel(CFTypeRef channel) {
    FAIL_WITH(nullptr);
    return lend(channel, now->reports->channelGetUnitLabel(channelAt(channel)));
}
std::int32_t IOReportStateGetCount(CFTypeRef channel) {
    FAIL_WITH(0x7FFFFFFF);
    return now->reports->stateGetCount(channelAt(channel));
}
CFTypeRef IOReportStateGetNameForIndex(CFTypeRef channel, std::int32_t index) {
    FAIL_WITH(nullptr);
    return lend(channel, now->reports->stateGetName(channelAt(channel), index));
}
std::int64_t IOReportSimpleGetIntegerValue(CFTypeRef channel, std::int32_t) {
    return now->reports->simpleGetIntegerValue(channelAt(channel));
}
std::int64_t IOReportStateGetResidency(CFTypeRef channel, std::int32_t index) {
    return now->reports->stateGetResidency(channelAt(channel), index);
}

MachPort mach_host_self() {
    FAIL_WITH(0);
    return give("port", nullptr);
}
KernelReturn mach_port_deallocate(MachPort task, MachPort name) {
    require(task == mach_task_self_, "another task");
    now->at(name, "port");
    now->live.erase(name);
    return 0;
}
KernelReturn host_processor_info(MachPort host, int flavor, std::uint32_t* processors, std::uint32_t** words,
                                 std::uint32_t* count) {
    FAIL_WITH(refused);
    require(now->at(host, "port").kind == "port" && flavor == 2, "another question");
    const auto ticks = now->machine.hostStatistics.processorTicks();
    if (!ticks) return refused;
    auto page = std::make_shared<std::vector<std::uint32_t>>();
    page->reserve(1);
    for (const ProcessorTicks& one : *ticks) {
        for (const auto counter : {one.user, one.system, one.idle, one.nice}) {
            page->push_back(static_cast<std::uint32_t>(counter));
        }
    }
    *processors = static_cast<std::uint32_t>(ticks->size());
    *count = static_cast<std::uint32_t>(page->size());
    *words = page->data();
    now->live[reinterpret_cast<Handle>(page->data())] = {"page", {}, page};
    return 0;
}
KernelReturn vm_deallocate(MachPort, std::uintptr_t address, std::uintptr_t size) {
    const auto& words = seamOf<std::vector<std::uint32_t>>(address, "page");
    if (size != words.size() * sizeof words[0]) now->mistakes.push_back("gave back another size of memory");
    now->live.erase(address);
    return 0;
}
KernelReturn host_statistics64(MachPort host, int flavor, void* record, std::uint32_t* count) {
    FAIL_WITH(refused);
    require(now->at(host, "port").kind == "port" && flavor == 4 && *count == 62, "another question");
    const auto pages = now->machine.hostStatistics.virtualMemory();
    if (!pages) return refused;
    VirtualMemoryRecord told{};
    const auto narrow = [](std::uint64_t value) { return static_cast<std::uint32_t>(value); };
    told.active = narrow(pages->active);
    told.inactive = narrow(pages->inactive);
    told.speculative = narrow(pages->speculative);
    told.wired = narrow(pages->wired);
    told.compressor = narrow(pages->compressor);
    told.purgeable = narrow(pages->purgeable);
    told.external = narrow(pages->external);
    *count = 40;  // the kernel's record is shorter
    std::memcpy(record, &told, *count * sizeof *count);
    return 0;
}
KernelReturn host_page_size(MachPort host, std::uintptr_t* size) {
    FAIL_WITH(refused);
    now->at(host, "port");
    const auto told = now->machine.hostStatistics.pageSize();
    *size = told.value_or(0);
    return told ? 0 : refused;
}
/// As both calls answer: first the size, then the value that stood there when its size was asked for.
int answer(const std::string& name, void* value, std::size_t* size, const std::function<std::optional<Bytes>()>& read) {
    if (!value) {
        const auto bytes = read();
        if (bytes) now->asked[name] = *bytes;
        *size = bytes ? bytes->size() : 0;
        return bytes ? 0 : -1;
    }
    const Bytes& bytes = now->asked[name];
    if (*size < bytes.size()) return -1;
    std::copy(bytes.begin(), bytes.end(), static_cast<std::uint8_t*>(value));
    *size = bytes.size();
    return 0;
}
/// "Version 14.6.1 (Build 23G93)" in two values.
std::optional<Bytes> versionPart(std::string_view begin, std::string_view end) {
    const std::string text = now->machine.systemFacts.systemVersion();
    const auto from = text.find(begin);
    if (from == text.npos) return std::nullopt;
    const std::string part = text.substr(from + begin.size(), text.find(end, from) - from - begin.size());
    return Bytes(part.c_str(), part.c_str() + part.size() + 1);
}
int sysctlbyname(const char* name, void* value, std::size_t* size, void*, std::size_t) {
    FAIL_WITH(-1);
    return answer(name, value, size, [&]() -> std::optional<Bytes> {
        if (name == std::string_view("kern.osproductversion")) return versionPart("Version ", " (");
        if (name == std::string_view("kern.osversion")) return versionPart("Build ", ")");
        return now->machine.sysctl.read(name);
    });
}
int sysctl(int* name, unsigned count, void* value, std::size_t* size, void*, std::size_t) {
    FAIL_WITH(-1);
    constexpr int table[] = {4, 17, 0, 0, 6, 0};
    require(std::equal(name, name + count, std::begin(table), std::end(table)), "another table");
    return answer("interfaces", value, size, []() -> std::optional<Bytes> {
        const auto links = now->machine.networkInterfaces.links();
        if (!links) return std::nullopt;
        Bytes bytes;
        for (const LinkInterface& link : *links) {
            InterfaceMessage message{};
            const auto counters = link.counters.value_or(LinkInterface::Counters());
            message.type = 0x12;
            message.received = counters.received;
            message.sent = counters.sent;
            message.link.family = 18;
            message.link.nameLength = static_cast<std::uint8_t>(link.name.size());
            std::memcpy(message.link.name, link.name.data(), std::min(link.name.size(), sizeof message.link.name));
            message.length = sizeof message;
            for (int times = 0; times < 2; ++times) {  // with a message about an address behind it
                const auto* begin = reinterpret_cast<const std::uint8_t*>(&message);
                bytes.insert(bytes.end(), begin, begin + message.length);
                message.type = 0x0C;
            }
        }
        return bytes;
    });
}
/// An entry, its address and its name in one.
struct AddressEntry {
    AddressRecord entry{};
    AddressRecord::Socket address{};
    std::string name;
};
int getifaddrs(AddressRecord** list) {
    FAIL_WITH(-1);
    const auto addresses = now->machine.interfaceAddresses.ipv4();
    if (!addresses) return -1;
    auto entries = std::make_shared<std::vector<AddressEntry>>(2 * addresses->size() + 1);
    for (std::size_t i = 0; i < entries->size(); ++i) {  // every other one tells of no address, or of its link
        AddressEntry& entry = (*entries)[i];
        if (i % 2) {
            const auto& [name, ipv4] = (*addresses)[i / 2];
            entry.name = name;
            for (unsigned byte = 0; byte < 4; ++byte) {
                entry.address.ipv4[byte] = static_cast<std::uint8_t>(ipv4 >> (24 - 8 * byte));
            }
        }
        entry.address.family = i % 2 ? 2 : 18;
        entry.entry.address = i == 0 ? nullptr : &entry.address;
        entry.entry.name = entry.name.data();
        if (i > 0) (*entries)[i - 1].entry.next = &entry.entry;
    }
    *list = &entries->front().entry;
    now->live[reinterpret_cast<Handle>(*list)] = {"addresses", {}, entries};
    return 0;
}
void freeifaddrs(AddressRecord* list) {
    now->at(reinterpret_cast<Handle>(list), "addresses");
    now->live.erase(reinterpret_cast<Handle>(list));
}
KernelReturn task_name_for_pid(MachPort task, int pid, MachPort* name) {
    FAIL_WITH(refused);
    require(task == mach_task_self_, "another task");
    return give(name, "port", shared(now->machine.taskCounters.taskName(pid)));
}
KernelReturn task_info(MachPort name, unsigned flavor, void* record, std::uint32_t* count) {
    FAIL_WITH(refused);
    require(flavor == 26 && *count >= 22, "another question");
    const auto power = seamOf<TaskName>(name, "port").power();
    if (!power) return refused;
    TaskPowerRecord told{};
    told.energy = power->energy;
    *count = now->libraries.isIntel ? 24 : 26;
    std::memcpy(record, &told, *count * sizeof *count);
    return 0;
}
int proc_pid_rusage(int pid, int flavor, void* record) {
    FAIL_WITH(-1);
    require(flavor == 4, "another question");
    const auto disk = now->machine.taskCounters.disk(pid);
    UsageRecord told{};
    if (disk) told.bytesRead = disk->bytesRead, told.bytesWritten = disk->bytesWritten;
    std::memcpy(record, &told, sizeof told);
    return disk ? 0 : -1;
}

CFTypeRef CFNetworkCopySystemProxySettings() {
    FAIL_WITH(nullptr);
    const auto settings = now->machine.proxySettings.proxySettings();
    return settings ? make(*settings) : nullptr;
}

}  // namespace calls

namespace {

/// The tables' own lists: what is called in another way than a table says does not compile.
#define EXPORT(name, ...) \
    {#name,               \
     const_cast<void*>(reinterpret_cast<const void*>(static_cast<std::add_pointer_t<__VA_ARGS__>>(&calls::name)))},
using Library = std::vector<std::pair<std::string_view, void*>>;
const std::map<std::string_view, Library> exported{
    {CoreFoundation::path, {ZQM_CORE_FOUNDATION(EXPORT) ZQM_BUNDLE(EXPORT)}},
    {ioKitPath,
     {ZQM_REGISTRY(EXPORT) ZQM_USER_CLIENT(EXPORT) ZQM_POWER_SOURCES(EXPORT) ZQM_ADAPTER(EXPORT) ZQM_SENSORS(EXPORT)}},
    {IOReportCalls::path, {ZQM_IO_REPORT(EXPORT)}},
    {ioReportFramework, {ZQM_IO_REPORT(EXPORT)}},
    {libSystemPath, {ZQM_MACH(EXPORT) ZQM_HOST(EXPORT) ZQM_SYSCTL(EXPORT) ZQM_ADDRESSES(EXPORT) ZQM_TASKS(EXPORT)}},
    {ProxyCalls::path, {ZQM_PROXIES(EXPORT)}}};

}  // namespace

MacDouble::MacDouble(const MachineServices& machine) {
    now = new System{*this, machine};
}

MacDouble::~MacDouble() {
    delete std::exchange(now, nullptr);
}

void* MacDouble::open(const char* path) {
    const auto found = exported.find(path);
    if (found == exported.end() || missing.contains(found->first)) return nullptr;
    if (std::string_view(path).find("IOReport") == std::string_view::npos) return const_cast<Library*>(&found->second);
    ReportLibrary* const reports = now->machine.ioReport.open(path);
    if (reports) now->reports = reports;
    return reports ? const_cast<Library*>(&found->second) : nullptr;
}

void* MacDouble::find(void* library, const char* symbol) {
    const auto& symbols = *static_cast<Library*>(library);
    for (std::size_t i = 0; i < symbols.size(); ++i) {
        if (symbols[i].first != symbol || missing.contains(symbol)) continue;
        const bool isReport = std::string_view(symbol).starts_with("IOReport");
        return isReport && !now->reports->has(static_cast<ReportOperation>(i)) ? nullptr : symbols[i].second;
    }
    return nullptr;
}

std::string MacDouble::complaints() const {
    std::string lines;
    for (const std::string& mistake : now->mistakes) lines += mistake + "\n";
    if (now->bundle) {
        now->live[now->bundle].kind = "";
        now->release(std::exchange(now->bundle, 0));
    }
    for (const auto& [handle, object] : now->live) lines += "kept: " + object.kind + "\n";
    return lines;
}

std::vector<std::string> MacDouble::symbols() {
    std::vector<std::string> names;
    for (const auto& [path, library] : exported) {
        if (path == ioReportFramework) continue;
        names.emplace_back(path);
        for (const auto& [name, address] : library) names.emplace_back(name);
    }
    return names;
}

DoubledMac::DoubledMac(Machine& described, Clock& clock, const std::function<void(MacDouble&)>& prepare)
    : described_(described.services()) {
    if (prepare) prepare(libraries_);
    machine_ = std::make_unique<MacMachine>(libraries_, clock);
}

DoubledMac::~DoubledMac() {
    machine_ = nullptr;
    EXPECT_EQ(libraries_.complaints(), "");
}

MachineServices DoubledMac::services() {
    MachineServices services = machine_->services();
    services.printers = described_.printers;
    return services;
}

}  // namespace zqm
