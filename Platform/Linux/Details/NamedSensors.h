#pragma once

#include <vector>

#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Machine/MachineDetails.h"

namespace zqm {

/// The sensors of hwmon chips by chip and label; where no chip has a thermometer, thermal zones by type. Those of a
/// name that is taken get a number. Left out: drives behind "drivetemp", which a question keeps spinning, and cards
/// asleep.
std::vector<SensorFigure> readTemperatures(const RootDirectory& root);  // °C
std::vector<SensorFigure> readFans(const RootDirectory& root);          // turns per minute

}  // namespace zqm
