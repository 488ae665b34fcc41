#include "ZQMHelper/Shared/TemperatureBridge.h"

#include <utility>

namespace zqm {

std::optional<std::map<std::string, double>> ReadHIDTemperatures(TemperatureSensors& sensors) {
    const auto list = sensors.sensors();
    if (!list) return std::nullopt;
    std::map<std::string, double> temperatures;
    for (const auto& sensor : *list) {
        auto name = sensor->product();
        const auto temperature = sensor->temperature();
        if (!name || !temperature || !isPlausibleTemperature(*temperature)) continue;
        temperatures.insert_or_assign(std::move(*name), *temperature);
    }
    return temperatures;
}

}  // namespace zqm
