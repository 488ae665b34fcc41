#include "Platform/Linux/LinuxPowerSources.h"

namespace zqm {

std::optional<std::vector<std::optional<PropertyDictionary>>> LinuxPowerSources::descriptions() {
    return std::nullopt;
}

std::optional<PropertyValue> LinuxPowerSources::adapterDetails() {
    return std::nullopt;
}

}  // namespace zqm
