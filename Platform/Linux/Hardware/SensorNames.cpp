#include "Platform/Linux/Hardware/SensorNames.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <map>
#include <set>
#include <utility>

namespace zqm {
namespace {

enum class Part { processor, graphics, other };

/// What a sensor measures, and how well: of a part's sensors those of the lowest rank count.
struct Standing {
    Part part = Part::other;
    int rank = 0;
};

struct Rule {
    std::string_view chip;
    std::string_view label;  // how the label begins
    Standing standing;
};

// The first rule that fits decides. The control value of AMD's older processors lies 10 to 27 degrees above the die's,
// which those show apart.
constexpr std::array chipRules{
    Rule{"coretemp", "Package", {Part::processor, 0}},
    Rule{"coretemp", "Physical", {Part::processor, 0}},
    Rule{"coretemp", "", {Part::processor, 2}},
    Rule{"k10temp", "Tdie", {Part::processor, 0}},
    Rule{"k10temp", "Tccd", {Part::processor, 2}},
    Rule{"k10temp", "", {Part::processor, 1}},
    Rule{"zenpower", "Tdie", {Part::processor, 0}},
    Rule{"zenpower", "Tccd", {Part::processor, 2}},
    Rule{"zenpower", "", {Part::processor, 1}},
    Rule{"k8temp", "", {Part::processor, 1}},
    Rule{"via_cputemp", "", {Part::processor, 1}},
    Rule{"acpitz", "", {Part::processor, 9}},
    Rule{"amdgpu", "edge", {Part::graphics, 0}},
    Rule{"amdgpu", "junction", {Part::graphics, 1}},
    Rule{"amdgpu", "", {Part::graphics, 2}},
    Rule{"radeon", "", {Part::graphics, 0}},
    Rule{"nouveau", "", {Part::graphics, 0}},
    Rule{"i915", "", {Part::graphics, 0}},
    Rule{"xe", "pkg", {Part::graphics, 0}},
    Rule{"xe", "", {Part::graphics, 1}},
    Rule{"nvidia", "", {Part::graphics, 0}},
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
Standing zoneStanding(std::string_view name) {
    if (name == "x86_pkg_temp") return {Part::processor, 3};
    if (contains(name, "gpu") || name == "g3d") return {Part::graphics, 4};
    constexpr std::array clusters{"big", "mid", "little"};
    constexpr std::array wholeChips{"soc_thermal", "soc-thermal", "bcm2835_thermal"};
    const bool isProcessor = contains(name, "cpu") || std::count(clusters.begin(), clusters.end(), name) > 0;
    if (isProcessor) return {Part::processor, 4};
    if (std::count(wholeChips.begin(), wholeChips.end(), name) > 0) return {Part::processor, 5};
    return {};
}

Standing standing(const SensorDescription& sensor) {
    for (const Rule& rule : chipRules) {
        if (sensor.chip == rule.chip && sensor.label.starts_with(rule.label)) return rule.standing;
    }
    return zoneStanding(lowerCase(sensor.chip));
}

/// A name that no reader takes for another's.
std::string plainName(const SensorDescription& sensor, Part part) {
    std::string name = sensor.chip;
    if (part == Part::processor) name = "CPU " + sensor.chip;
    if (part == Part::graphics) name = "Graphics " + sensor.chip;
    if (part == Part::other && sensor.chip == "nvme") name = "NVMe";
    if (part == Part::other && sensor.chip.starts_with("iwlwifi")) name = "Wi-Fi";
    for (const std::string_view taken : {"GPU", "PMU", "pACC", "eACC", "SOC"}) {
        if (name.starts_with(taken)) name = "Sensor " + name;
    }
    return sensor.label.empty() ? name : name + " " + sensor.label;
}

}  // namespace

std::vector<SensorName> nameSensors(const std::vector<SensorDescription>& sensors) {
    constexpr int none = 100;
    std::map<Part, int> best{{Part::processor, none}, {Part::graphics, none}, {Part::other, none}};
    for (const SensorDescription& sensor : sensors) {
        const auto [part, rank] = standing(sensor);
        if (sensor.isReadable) best[part] = std::min(best[part], rank);
    }
    std::vector<SensorName> names;
    std::set<std::string> taken;
    for (const SensorDescription& sensor : sensors) {
        const auto [part, rank] = standing(sensor);
        SensorName name{.text = {}, .counts = part != Part::other && rank == best[part]};
        const std::string_view group = part == Part::processor ? "PMU tdie " : "GPU ";
        name.text = name.counts ? std::string(group) + sensor.chip + (sensor.label.empty() ? "" : " " + sensor.label)
                                : plainName(sensor, part);
        const std::string base = name.text;
        for (int number = 2; !taken.insert(name.text).second; ++number) name.text = base + " " + std::to_string(number);
        names.push_back(std::move(name));
    }
    return names;
}

}  // namespace zqm
