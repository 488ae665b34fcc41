#include "ZQMHelper/Shared/BatteryReader.h"

#include <cmath>

#include "Platform/Apple/PowerSources.h"
#include "Platform/Apple/Registry.h"
#include "Platform/Machine/MachineReadings.h"
#include "Support/Finite.h"

namespace zqm {
namespace {

bool hasText(const PropertyDictionary& source, std::string_view key, std::string_view text) {
    const std::string* value = asText(find(source, key));
    return value && *value == text;
}

std::int64_t minutesOrUnknown(const PropertyDictionary& source, std::string_view key) {
    const PropertyValue* value = find(source, key);
    const auto* minutes = value ? std::get_if<std::int64_t>(value) : nullptr;
    return minutes && *minutes > 0 ? *minutes : -1;
}

/// What one internal battery says; of several the last decides.
void readInternalBattery(const PropertyDictionary& source, BatteryMetrics& battery) {
    battery.isPresent = true;
    const auto current = asNumber(find(source, "Current Capacity"));
    const auto maximum = asNumber(find(source, "Max Capacity"));
    if (current && maximum && *maximum > 0) battery.level = finite(*current / *maximum);
    battery.isCharging = asFlag(find(source, "Is Charging")).value_or(false);
    battery.onACPower = hasText(source, "Power Source State", "AC Power");
    if (battery.isCharging) {
        battery.timeRemainingMinutes = minutesOrUnknown(source, "Time to Full Charge");
    } else if (battery.onACPower) {
        battery.timeRemainingMinutes = -1;
    } else {
        battery.timeRemainingMinutes = minutesOrUnknown(source, "Time to Empty");
    }
}

/// The first of two properties that is a number, or 0.
double number(const RegistryEntry& gauge, std::string_view key, std::string_view fallback = {}) {
    const auto property = gauge.property(key);
    if (const auto value = property ? asNumber(&*property) : std::nullopt) return *value;
    return fallback.empty() ? 0 : number(gauge, fallback);
}

}  // namespace

BatteryMetrics BatteryReader::sample() {
    if (platform_.readings) return samplePlain();
    BatteryMetrics battery;
    readPowerSources(battery);
    readGauge(battery);
    readAdapter(battery);
    return battery;
}

BatteryMetrics BatteryReader::samplePlain() {
    BatteryMetrics metrics;
    drainWatts_ = 0;
    const PowerSupplyReading supply = platform_.readings->powerSupply();
    metrics.adapterWatts = supply.adapterWatts.value_or(0);
    if (!supply.battery) return metrics;
    const BatteryReading& battery = *supply.battery;
    metrics.isPresent = true;
    metrics.isCharging = battery.isCharging;
    metrics.onACPower = supply.isOnMains;
    metrics.level = battery.level.value_or(0);
    metrics.health = battery.health.value_or(0);
    metrics.cycleCount = battery.cycles;
    metrics.maxCapacityWh = battery.full.value_or(0);
    metrics.designCapacityWh = battery.design.value_or(0);
    metrics.powerWatts = std::abs(battery.watts.value_or(0));
    if (battery.isDischarging) drainWatts_ = metrics.powerWatts;
    const bool isRunningDown = !battery.isCharging && !supply.isOnMains;
    if (battery.isCharging || isRunningDown) metrics.timeRemainingMinutes = battery.minutes.value_or(-1);
    return metrics;
}

void BatteryReader::readPowerSources(BatteryMetrics& battery) {
    const auto sources = platform_.powerSources.descriptions();
    if (!sources) return;
    for (const auto& source : *sources) {
        if (source && hasText(*source, "Type", "InternalBattery")) readInternalBattery(*source, battery);
    }
}

void BatteryReader::readGauge(BatteryMetrics& battery) {
    const auto services = platform_.registry.services("AppleSmartBattery");
    if (!services || services->empty()) return;
    const RegistryEntry& gauge = *services->front();
    const double design = number(gauge, "DesignCapacity");                              // mAh
    const double full = number(gauge, "AppleRawMaxCapacity", "NominalChargeCapacity");  // mAh
    const double volts = number(gauge, "Voltage", "AppleRawBatteryVoltage") / 1000;
    const double amperes = number(gauge, "InstantAmperage", "Amperage") / 1000;
    const auto cycles = gauge.property("CycleCount");
    battery.cycleCount = cycles ? asInteger(&*cycles).value_or(0) : 0;
    if (full > 0 && design > 0) battery.health = finite(full / design);
    if (volts > 0) {
        battery.maxCapacityWh = finite(full / 1000 * volts);
        battery.designCapacityWh = finite(design / 1000 * volts);
    }
    battery.powerWatts = finite(std::abs(amperes * volts));
}

void BatteryReader::readAdapter(BatteryMetrics& battery) {
    const auto details = platform_.powerSources.adapterDetails();
    const PropertyDictionary* dictionary = details ? asDictionary(&*details) : nullptr;
    if (dictionary) battery.adapterWatts = asNumber(find(*dictionary, "Watts")).value_or(0);
}

}  // namespace zqm
