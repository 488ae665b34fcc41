#pragma once

#include <optional>

#include "Platform/Apple/PropertyValue.h"

namespace zqm {

/// The system's proxy settings. Callable from any thread.
class ProxySettings {
public:
    virtual ~ProxySettings() = default;
    /// Switches ("HTTPEnable", "HTTPSEnable", "SOCKSEnable": 1 when on) and hosts ("HTTPProxy", "SOCKSProxy"); nullopt
    /// when there are no settings.
    virtual std::optional<PropertyDictionary> proxySettings() = 0;
};

}  // namespace zqm
