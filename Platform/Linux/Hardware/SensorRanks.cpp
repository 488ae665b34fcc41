#include "Platform/Linux/Hardware/SensorRanks.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace zqm {
namespace {

/// What a sensor measures, and how well: of a part's sensors those of the lowest rank count.
struct Rank {
    SensorPart part = SensorPart::other;
    int number = 0;
};

struct Rule {
    std::string_view chip;
    std::string_view label;  // how the label begins
    Rank rank;
};

// The first rule that fits decides. The control value of AMD's older processors lies 10 to 27 degrees above the die's,
// which those show apart.
constexpr std::array chipRules{
    Rule{"coretemp", "Package", {SensorPart::processor, 0}},
    Rule{"coretemp", "Physical", {SensorPart::processor, 0}},
    Rule{"coretemp", "", {SensorPart::processor, 2}},
    Rule{"k10temp", "Tdie", {SensorPart::processor, 0}},
    Rule{"k10temp", "Tccd", {SensorPart::processor, 2}},
    Rule{"k10temp", "", {SensorPart::processor, 1}},
    Rule{"zenpower", "Tdie", {SensorPart::processor, 0}},
    Rule{"zenpower", "Tccd", {SensorPart::processor, 2}},
    Rule{"zenpower", "", {SensorPart::processor, 1}},
    Rule{"k8temp", "", {SensorPart::processor, 1}},
    Rule{"via_cputemp", "", {SensorPart::processor, 1}},
    Rule{"acpitz", "", {SensorPart::processor, 9}},
    Rule{"amdgpu", "edge", {SensorPart::graphics, 0}},
    Rule{"amdgpu", "junction", {SensorPart::graphics, 1}},
    Rule{"amdgpu", "", {SensorPart::graphics, 2}},
    Rule{"radeon", "", {SensorPart::graphics, 0}},
    Rule{"nouveau", "", {SensorPart::graphics, 0}},
    Rule{"i915", "", {SensorPart::graphics, 0}},
    Rule{"xe", "pkg", {SensorPart::graphics, 0}},
    Rule{"xe", "", {SensorPart::graphics, 1}},
    Rule{"nvidia", "", {SensorPart::graphics, 0}},
};

std::string lowerCase(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return lower;
}

bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

/// Thermal zones, and the chips that stand for them, have free names: those of ARM machines after the part of the chip.
Rank zoneRank(std::string_view name) {
    if (name == "x86_pkg_temp") return {SensorPart::processor, 3};
    if (contains(name, "gpu") || name == "g3d") return {SensorPart::graphics, 4};
    constexpr std::array clusters{"big", "mid", "little"};
    constexpr std::array wholeChips{"soc_thermal", "soc-thermal", "bcm2835_thermal"};
    const bool isProcessor = contains(name, "cpu") || std::count(clusters.begin(), clusters.end(), name) > 0;
    if (isProcessor) return {SensorPart::processor, 4};
    if (std::count(wholeChips.begin(), wholeChips.end(), name) > 0) return {SensorPart::processor, 5};
    return {};
}

Rank rankOf(const SensorDescription& sensor) {
    for (const Rule& rule : chipRules) {
        if (sensor.chip == rule.chip && sensor.label.starts_with(rule.label)) return rule.rank;
    }
    return zoneRank(lowerCase(sensor.chip));
}

}  // namespace

std::vector<SensorPart> chooseSensors(const std::vector<SensorDescription>& sensors) {
    constexpr int none = 100;
    std::array<int, 3> best{none, none, none};
    for (const SensorDescription& sensor : sensors) {
        const auto [part, number] = rankOf(sensor);
        int& known = best[static_cast<std::size_t>(part)];
        if (sensor.isReadable) known = std::min(known, number);
    }
    std::vector<SensorPart> parts;
    for (const SensorDescription& sensor : sensors) {
        const auto [part, number] = rankOf(sensor);
        parts.push_back(number == best[static_cast<std::size_t>(part)] ? part : SensorPart::other);
    }
    return parts;
}

}  // namespace zqm
