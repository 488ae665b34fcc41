#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zqm {

/// A temperature sensor as the kernel tells of it.
struct SensorDescription {
    std::string chip;         // "coretemp"; the type of a thermal zone
    std::string label;        // "Package id 0"; empty: none
    bool isReadable = false;  // it gave a plausible temperature when it was found
};

/// The name that a sensor is presented under, and whether its reading is part of what readers show.
struct SensorName {
    std::string text;
    bool counts = false;
};

/// Names for all sensors of a machine, in their order and no two the same. The few that stand for the whole processor
/// are called "PMU tdie …", and one per graphics card "GPU …": readers take the mean of each group. All others get
/// names that readers pass over, such as "NVMe Composite".
///
/// One sensor per processor package is the temperature that its maker steers by; the sensors of its cores would drown
/// it in a mean, in which every idle core counts as much as the hot one.
std::vector<SensorName> nameSensors(const std::vector<SensorDescription>& sensors);

}  // namespace zqm
