#pragma once

#include "Platform/PowerSources.h"

namespace zqm {

/// Batteries and adapters of /sys/class/power_supply.
class LinuxPowerSources final : public PowerSources {
public:
    std::optional<std::vector<std::optional<PropertyDictionary>>> descriptions() override;
    std::optional<PropertyValue> adapterDetails() override;
};

}  // namespace zqm
