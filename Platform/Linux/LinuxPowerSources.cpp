#include "Platform/Linux/LinuxPowerSources.h"

namespace zqm {

std::optional<std::vector<std::optional<PropertyDictionary>>> LinuxPowerSources::descriptions() {
    const PowerSupply supply = batteries_.read();
    std::vector<std::optional<PropertyDictionary>> list;
    if (!supply.battery) return list;
    PropertyDictionary source;
    source.emplace_back("Type", std::string("InternalBattery"));
    if (supply.battery->level) {
        source.emplace_back("Current Capacity", *supply.battery->level * 100);
        source.emplace_back("Max Capacity", std::int64_t{100});
    }
    const bool isCharging = supply.battery->status == BatteryStatus::charging;
    source.emplace_back("Is Charging", isCharging);
    source.emplace_back("Power Source State", std::string(supply.onMains ? "AC Power" : "Battery Power"));
    if (const auto minutes = supply.minutesLeft()) {
        source.emplace_back(isCharging ? "Time to Full Charge" : "Time to Empty", *minutes);
    }
    list.emplace_back(std::move(source));
    return list;
}

std::optional<PropertyValue> LinuxPowerSources::adapterDetails() {
    const auto watts = batteries_.read().adapterWatts;
    if (!watts) return std::nullopt;
    return PropertyDictionary{{"Watts", *watts}};
}

}  // namespace zqm
