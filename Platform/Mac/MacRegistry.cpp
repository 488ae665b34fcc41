#include "Platform/Mac/MacRegistry.h"

#include <utility>

namespace zqm {
namespace {

/// What entries need.
struct Calls {
    const CoreFoundation& core;
    const MachCalls& mach;
    const RegistryCalls& registry;
    const UserClientCalls& clients;
};

/// A reference to an entry or an iterator of the kernel's; destruction gives it back.
class IOReference {
public:
    IOReference(const RegistryCalls& calls, IOObject object) : calls_(calls), object_(object) {}
    IOReference(IOReference&& other) noexcept : calls_(other.calls_), object_(std::exchange(other.object_, 0)) {}
    IOReference& operator=(IOReference&&) = delete;
    ~IOReference() {
        if (object_) calls_.IOObjectRelease(object_);
    }
    IOObject get() const { return object_; }

private:
    const RegistryCalls& calls_;
    IOObject object_;
};

class MacUserClient final : public UserClient {
public:
    MacUserClient(const UserClientCalls& calls, IOObject connection) : calls_(calls), connection_(connection) {}
    ~MacUserClient() override { calls_.IOServiceClose(connection_); }
    MacUserClient(const MacUserClient&) = delete;
    MacUserClient& operator=(const MacUserClient&) = delete;

    bool callStruct(std::uint32_t selector, std::span<const std::uint8_t> input,
                    std::span<std::uint8_t> output) override {
        std::size_t size = output.size();
        return calls_.IOConnectCallStructMethod(connection_, selector, input.data(), input.size(), output.data(),
                                                &size) == 0 &&
               size == output.size();
    }

private:
    const UserClientCalls& calls_;
    IOObject connection_;
};

std::vector<std::unique_ptr<RegistryEntry>> entriesOf(const Calls& calls, IOObject iterator, bool areBatteries);

class MacEntry final : public RegistryEntry {
public:
    MacEntry(const Calls& calls, IOObject entry, bool isBattery)
        : calls_(calls), entry_(calls.registry, entry), isBattery_(isBattery) {}

    std::optional<std::string> name() const override {
        char name[sizeof(IOName) + 1] = {};
        if (calls_.registry.IORegistryEntryGetName(entry_.get(), name) != 0) return std::nullopt;
        return std::string(name);
    }
    std::optional<std::vector<std::unique_ptr<RegistryEntry>>> children() const override {
        IOObject iterator = 0;
        if (calls_.registry.IORegistryEntryGetChildIterator(entry_.get(), "IOService", &iterator) != 0) {
            return std::nullopt;
        }
        return entriesOf(calls_, iterator, false);
    }
    std::optional<PropertyValue> property(std::string_view key) const override;
    std::unique_ptr<UserClient> open(std::uint32_t type) const override {
        if (!calls_.clients.isWhole() || !calls_.mach.isWhole()) return nullptr;
        IOObject connection = 0;
        if (calls_.clients.IOServiceOpen(entry_.get(), *calls_.mach.mach_task_self_, type, &connection) != 0) {
            return nullptr;
        }
        return connection ? std::make_unique<MacUserClient>(calls_.clients, connection) : nullptr;
    }

private:
    CFOwned copied(std::string_view key) const {
        const CFOwned name = makeText(calls_.core, key);
        return own(
            calls_.core,
            name ? calls_.registry.IORegistryEntryCreateCFProperty(entry_.get(), name.get(), nullptr, 0) : nullptr);
    }

    Calls calls_;
    IOReference entry_;
    bool isBattery_;
};

/// Machines end the text of "cluster-type" with a NUL byte, which the rules for it do not know. Systems from 27 on tell
/// the battery's capacities inside "BatteryData" alone; older ones have other figures of the same names there.
std::optional<PropertyValue> MacEntry::property(std::string_view key) const {
    if (!calls_.core.isWhole()) return std::nullopt;
    auto value = propertyOf(calls_.core, copied(key).get());
    if (!value && isBattery_) {
        const CFOwned data = copied("BatteryData");
        return propertyOf(calls_.core, memberOf(calls_.core, data.get(), key));
    }
    auto* bytes = value && key == "cluster-type" ? std::get_if<Bytes>(&*value) : nullptr;
    if (bytes && !bytes->empty() && bytes->back() == 0) bytes->pop_back();
    return value;
}

/// Takes the iterator over; 0, which stands for no entries, too.
std::vector<std::unique_ptr<RegistryEntry>> entriesOf(const Calls& calls, IOObject iterator, bool areBatteries) {
    const IOReference owned(calls.registry, iterator);
    std::vector<std::unique_ptr<RegistryEntry>> entries;
    while (const IOObject entry = iterator ? calls.registry.IOIteratorNext(iterator) : 0) {
        entries.push_back(std::make_unique<MacEntry>(calls, entry, areBatteries));
    }
    return entries;
}

}  // namespace

MacRegistry::MacRegistry(const CoreFoundation& calls, const MachCalls& mach, DynamicLibraries& libraries)
    : core_(calls), mach_(mach), registry_(libraries), clients_(libraries) {}

std::optional<std::vector<std::unique_ptr<RegistryEntry>>> MacRegistry::services(std::string_view className) {
    if (!registry_.isWhole()) return std::nullopt;
    const CFTypeRef matching = registry_.IOServiceMatching(std::string(className).c_str());
    IOObject iterator = 0;
    if (!matching || registry_.IOServiceGetMatchingServices(0, matching, &iterator) != 0) return std::nullopt;
    return entriesOf({core_, mach_, registry_, clients_}, iterator, className == "AppleSmartBattery");
}

}  // namespace zqm
