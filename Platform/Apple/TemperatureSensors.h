#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zqm {

/// A handle of one temperature sensor. Destruction gives it back.
class TemperatureSensor {
public:
    virtual ~TemperatureSensor() = default;
    virtual std::optional<std::string> product() const = 0;  // its name; nullopt when it has none
    virtual std::optional<double> temperature() const = 0;   // degrees Celsius; nullopt without a current reading
};

/// The machine's temperature sensors. Callable from any thread, one call at a time.
class TemperatureSensors {
public:
    virtual ~TemperatureSensors() = default;
    /// Every sensor in service order; nullopt when the event system cannot be opened or lists no services.
    virtual std::optional<std::vector<std::unique_ptr<TemperatureSensor>>> sensors() = 0;
};

}  // namespace zqm
