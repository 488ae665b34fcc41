#pragma once

#include <map>
#include <optional>
#include <string>

#include "Platform/Apple/TemperatureSensors.h"

namespace zqm {

/// The current reading of every temperature sensor by its name, degrees Celsius, plausible ones only (above 0, at most
/// 150). Of sensors with one name the last in service order counts. nullopt when the sensors cannot be listed.
std::optional<std::map<std::string, double>> ReadHIDTemperatures(TemperatureSensors& sensors);

}  // namespace zqm
