#include "Platform/Linux/LinuxTemperatureSensors.h"

namespace zqm {

std::optional<std::vector<std::unique_ptr<TemperatureSensor>>> LinuxTemperatureSensors::sensors() {
    return std::nullopt;
}

}  // namespace zqm
