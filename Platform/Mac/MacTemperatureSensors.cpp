#include "Platform/Mac/MacTemperatureSensors.h"

namespace zqm {
namespace {

constexpr Seconds clientLifetime(60);  // after which sensors that came are seen
constexpr std::int64_t vendorPage = 0xFF00, temperatureUsage = 5;
constexpr std::int64_t temperatureEvent = 15;
constexpr std::int32_t temperatureLevel = 15 << 16;

/// Services belong to their list, which needs its client.
struct SensorList {
    std::shared_ptr<const void> client;
    CFOwned services;
};

class MacSensor final : public TemperatureSensor {
public:
    MacSensor(const CoreFoundation& core, const SensorCalls& calls, std::shared_ptr<const SensorList> list,
              CFTypeRef service)
        : core_(core), calls_(calls), list_(std::move(list)), service_(service) {}

    std::optional<std::string> product() const override {
        const CFOwned key = makeText(core_, "Product");
        if (!key) return std::nullopt;
        return textOf(core_, own(core_, calls_.IOHIDServiceClientCopyProperty(service_, key.get())).get());
    }
    std::optional<double> temperature() const override {
        const CFOwned event = own(core_, calls_.IOHIDServiceClientCopyEvent(service_, temperatureEvent, 0, 0));
        if (!event) return std::nullopt;
        return calls_.IOHIDEventGetFloatValue(event.get(), temperatureLevel);
    }

private:
    const CoreFoundation& core_;
    const SensorCalls& calls_;
    std::shared_ptr<const SensorList> list_;
    CFTypeRef service_;
};

}  // namespace

CFOwned MacTemperatureSensors::makeClient() const {
    CFOwned client = own(core_, calls_.IOHIDEventSystemClientCreate(nullptr));
    if (!client) return client;
    const CFOwned keys[] = {makeText(core_, "PrimaryUsagePage"), makeText(core_, "PrimaryUsage")};
    const CFOwned values[] = {makeNumber(core_, vendorPage), makeNumber(core_, temperatureUsage)};
    if (!keys[0] || !keys[1] || !values[0] || !values[1]) return own(core_, nullptr);
    const CFTypeRef keyList[] = {keys[0].get(), keys[1].get()};
    const CFTypeRef valueList[] = {values[0].get(), values[1].get()};
    const CFOwned matching =
        own(core_, core_.CFDictionaryCreate(nullptr, keyList, valueList, 2, core_.kCFTypeDictionaryKeyCallBacks,
                                            core_.kCFTypeDictionaryValueCallBacks));
    if (!matching) return own(core_, nullptr);
    calls_.IOHIDEventSystemClientSetMatching(client.get(), matching.get());
    return client;
}

std::optional<std::vector<std::unique_ptr<TemperatureSensor>>> MacTemperatureSensors::sensors() {
    if (!missing().empty()) return std::nullopt;
    const MonotonicTime now = clock_.monotonic();
    if (!client_ || now - made_ >= clientLifetime) {
        client_ = makeClient();
        made_ = now;
        hasListed_ = false;
    }
    if (!client_) return std::nullopt;
    const auto list = std::make_shared<const SensorList>(
        SensorList{client_, own(core_, calls_.IOHIDEventSystemClientCopyServices(client_.get()))});
    const auto services = elementsOf(core_, list->services.get());
    if (!services) {
        if (hasListed_) client_ = nullptr;  // one that has lost its server never lists again
        return std::nullopt;
    }
    hasListed_ = true;
    std::vector<std::unique_ptr<TemperatureSensor>> sensors;
    for (CFTypeRef service : *services) sensors.push_back(std::make_unique<MacSensor>(core_, calls_, list, service));
    return sensors;
}

}  // namespace zqm
