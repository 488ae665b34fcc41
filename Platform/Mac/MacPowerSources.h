#pragma once

#include "Platform/Apple/PowerSources.h"
#include "Platform/Mac/CoreValues.h"
#include "Platform/Mac/Libraries/IOKit.h"

namespace zqm {

/// Batteries and adapter through IOKit's power sources. Callable from any thread.
class MacPowerSources final : public PowerSources {
public:
    MacPowerSources(const CoreFoundation& core, DynamicLibraries& libraries)
        : core_(core), sources_(libraries), adapter_(libraries) {}
    std::optional<std::vector<std::optional<PropertyDictionary>>> descriptions() override;
    std::optional<PropertyValue> adapterDetails() override;

    /// What the system lacks; empty: nothing.
    const std::string& missingForSources() const { return core_.isWhole() ? sources_.missing() : core_.missing(); }
    const std::string& missingForAdapter() const { return core_.isWhole() ? adapter_.missing() : core_.missing(); }

private:
    const CoreFoundation& core_;
    const PowerSourceCalls sources_;
    const AdapterCalls adapter_;
};

}  // namespace zqm
