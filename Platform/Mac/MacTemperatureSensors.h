#pragma once

#include "Platform/Apple/TemperatureSensors.h"
#include "Platform/Mac/CoreValues.h"
#include "Platform/Mac/Libraries/IOKit.h"
#include "Platform/Process/Clock.h"

namespace zqm {

/// The temperature sensors of the HID event system. Its client, which is what costs, is kept for a minute. One call at
/// a time.
class MacTemperatureSensors final : public TemperatureSensors {
public:
    MacTemperatureSensors(const CoreFoundation& core, DynamicLibraries& libraries, Clock& clock)
        : core_(core), calls_(libraries), clock_(clock) {}
    std::optional<std::vector<std::unique_ptr<TemperatureSensor>>> sensors() override;

    /// What the system lacks; empty: nothing.
    const std::string& missing() const { return core_.isWhole() ? calls_.missing() : core_.missing(); }

private:
    CFOwned makeClient() const;

    const CoreFoundation& core_;
    const SensorCalls calls_;
    Clock& clock_;
    std::shared_ptr<const void> client_;
    MonotonicTime made_{};
    bool hasListed_ = false;  // services, by this client
};

}  // namespace zqm
