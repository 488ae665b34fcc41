#pragma once

#include <optional>
#include <vector>

#include "Platform/Apple/PropertyValue.h"

namespace zqm {

/// Batteries and the adapter as the system's power management describes them. Callable from any thread.
class PowerSources {
public:
    virtual ~PowerSources() = default;
    /// One description per source, in list order, an entry being nullopt when its description is missing; nullopt when
    /// there is no information at all. Keys: "Type", "Current Capacity", "Max Capacity", "Is Charging",
    /// "Power Source State", "Time to Empty" and "Time to Full Charge" (minutes).
    virtual std::optional<std::vector<std::optional<PropertyDictionary>>> descriptions() = 0;
    /// Details of the external adapter, "Watts" among them; nullopt when there are none.
    virtual std::optional<PropertyValue> adapterDetails() = 0;
};

}  // namespace zqm
