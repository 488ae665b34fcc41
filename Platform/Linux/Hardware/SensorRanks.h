#pragma once

#include <optional>
#include <string>
#include <vector>

namespace zqm {

/// A temperature sensor as the kernel tells of it.
struct SensorDescription {
    std::string chip;         // "coretemp"; the type of a thermal zone
    std::string label;        // "Package id 0"; empty: none
    bool isZone = false;      // a thermal zone, not a chip
    bool isReadable = false;  // it gave a plausible temperature when it was found
    double celsius = 0;       // that
};

/// What a sensor measures, as far as figures are made of it.
enum class SensorPart { processor, graphics, other };

/// For each sensor the part whose figure it belongs to, `other` for all that do not count.
///
/// Where none is the processor's, the hottest zone stands in for it. One sensor per processor package is the
/// temperature that its maker steers by; the sensors of its cores would drown it in a mean, in which every idle core
/// counts as much as the hot one.
std::vector<SensorPart> chooseSensors(const std::vector<SensorDescription>& sensors);

/// How well a sensor of a graphics card's own chip stands for the card, 0 best; nullopt: not at all.
std::optional<int> rankOnCard(const SensorDescription& sensor);

}  // namespace zqm
