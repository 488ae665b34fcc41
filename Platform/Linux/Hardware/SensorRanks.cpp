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
    Rule{"macsmc_hwmon", "CPU", {SensorPart::processor, 4}},
    Rule{"macsmc_hwmon", "GPU", {SensorPart::graphics, 4}},
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
    constexpr std::array wholeChips{"soc_thermal",     "soc-thermal",     "soc",
                                    "bcm2835_thermal", "package-thermal", "package_thermal"};
    const bool isProcessor = contains(name, "cpu") || contains(name, "bigcore") || contains(name, "littlecore") ||
                             name.starts_with("cluster") || std::count(clusters.begin(), clusters.end(), name) > 0;
    if (isProcessor) return {SensorPart::processor, 4};
    if (std::count(wholeChips.begin(), wholeChips.end(), name) > 0) return {SensorPart::processor, 5};
    return {};
}

Rank rankOf(const SensorDescription& sensor) {
    for (const Rule& rule : chipRules) {
        if (sensor.chip == rule.chip && sensor.label.starts_with(rule.label)) return rule.rank;
    }
    if (sensor.label.starts_with("SoC Temperature")) return {SensorPart::processor, 5};
    return zoneRank(lowerCase(sensor.chip));
}

/// A zone that may stand for the machine where nothing else does: not one of a battery, a drive or a radio.
bool mayStandIn(const SensorDescription& sensor) {
    constexpr std::array others{"bat", "charg", "nvme", "disk", "ssd", "wifi", "wlan", "modem", "radio", "skin"};
    const std::string name = lowerCase(sensor.chip);
    return sensor.isZone && sensor.isReadable &&
           std::none_of(others.begin(), others.end(), [&](const char* other) { return contains(name, other); });
}

/// The hottest of those; the end when there is none.
std::size_t hottestZone(const std::vector<SensorDescription>& sensors) {
    std::size_t hottest = sensors.size();
    for (std::size_t i = 0; i < sensors.size(); ++i) {
        if (!mayStandIn(sensors[i]) || rankOf(sensors[i]).part != SensorPart::other) continue;
        if (hottest == sensors.size() || sensors[i].celsius > sensors[hottest].celsius) hottest = i;
    }
    return hottest;
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
    if (best[static_cast<std::size_t>(SensorPart::processor)] == none) {
        const std::size_t hottest = hottestZone(sensors);
        if (hottest < parts.size()) parts[hottest] = SensorPart::processor;
    }
    return parts;
}

std::optional<int> rankOnCard(const SensorDescription& sensor) {
    const auto [part, number] = rankOf(sensor);
    return part == SensorPart::graphics ? std::optional(number) : std::nullopt;
}

}  // namespace zqm
