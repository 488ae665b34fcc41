#pragma once

#include "Platform/TemperatureSensors.h"

namespace zqm {

/// Sensors of hwmon chips and thermal zones.
class LinuxTemperatureSensors final : public TemperatureSensors {
public:
    std::optional<std::vector<std::unique_ptr<TemperatureSensor>>> sensors() override;
};

}  // namespace zqm
