#pragma once

#include <optional>
#include <vector>

#include "Platform/Apple/NetworkInterfaces.h"
#include "Platform/Apple/Registry.h"
#include "Platform/Machine/MachineReadings.h"

namespace zqm {

/// What has passed through a service of "IOBlockStorageDriver", without its name, which takes more calls. A counter
/// that is missing is 0; nullopt when the driver tells no statistics.
std::optional<DriveReading> driveCounters(const RegistryEntry& driver);

/// What the drive behind such a driver is called, as "disk0"; nullopt where there is no medium in it.
std::optional<std::string> driveName(const RegistryEntry& driver);

/// The interfaces whose bytes count: those of the class of Ethernet that present counters. nullopt when the list cannot
/// be read.
std::optional<std::vector<InterfaceReading>> countedInterfaces(NetworkInterfaces& interfaces);

}  // namespace zqm
