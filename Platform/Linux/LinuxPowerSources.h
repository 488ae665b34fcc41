#pragma once

#include "Platform/Apple/PowerSources.h"
#include "Platform/Linux/Hardware/Batteries.h"

namespace zqm {

/// The machine's batteries as one internal battery, and what its adapter may give.
class LinuxPowerSources final : public PowerSources {
public:
    explicit LinuxPowerSources(Batteries& batteries) : batteries_(batteries) {}

    std::optional<std::vector<std::optional<PropertyDictionary>>> descriptions() override;
    std::optional<PropertyValue> adapterDetails() override;

private:
    Batteries& batteries_;
};

}  // namespace zqm
