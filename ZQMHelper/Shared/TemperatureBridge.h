#pragma once

#include <map>
#include <optional>
#include <string>

#include "Platform/Apple/TemperatureSensors.h"

namespace zqm {

/// Above 0, at most 150 degrees Celsius: what lies outside is a sensor that is broken or not there.
constexpr bool isPlausibleTemperature(double celsius) {
    return celsius > 0 && celsius <= 150;
}

/// The current reading of every temperature sensor by its name, degrees Celsius, plausible ones only. Of sensors with
/// one name the last in service order counts. nullopt when the sensors cannot be listed.
std::optional<std::map<std::string, double>> ReadHIDTemperatures(TemperatureSensors& sensors);

}  // namespace zqm
