#include "Platform/Linux/Hardware/CardSensors.h"

#include <algorithm>
#include <utility>

#include "Platform/Linux/Hardware/SensorRanks.h"

namespace zqm {
namespace {

std::optional<double> readAbove0(KernelFile& file, double unit, double most) {
    const auto count = readCount(file);
    const double value = static_cast<double>(count.value_or(0)) / unit;
    return count && value > 0 && value <= most ? std::optional(value) : std::nullopt;
}

}  // namespace

std::optional<double> toMegahertz(std::optional<std::uint64_t> clock, double unitsPerMegahertz) {
    constexpr double most = 100'000;
    const double megahertz = static_cast<double>(clock.value_or(0)) / unitsPerMegahertz;
    return clock && megahertz < most ? std::optional(megahertz) : std::nullopt;
}

std::optional<double> readMegahertz(KernelFile& file, double unitsPerMegahertz) {
    return toMegahertz(readCount(file), unitsPerMegahertz);
}

CardSensors::CardSensors(const RootDirectory& root, const std::string& device) {
    const std::string directory = device + "/hwmon";
    for (const std::string& chip : root.names(directory, "hwmon")) addChip(root, directory + "/" + chip);
    std::stable_sort(temperatures_.begin(), temperatures_.end(),
                     [](const Sensor& left, const Sensor& right) { return left.rank < right.rank; });
}

void CardSensors::addChip(const RootDirectory& root, const std::string& directory) {
    const std::string chip = root.text(directory + "/name").value_or("");
    const auto labelOf = [&](const std::string& input) {
        return root.text(directory + "/" + input.substr(0, input.find('_')) + "_label").value_or("");
    };
    isAmdgpu_ = isAmdgpu_ || chip == "amdgpu";
    hasNorthbridge_ = hasNorthbridge_ || labelOf("in1_input") == "vddnb";
    std::vector<KernelFile> wholes, parts;
    for (const std::string& name : root.names(directory, "")) {
        if (name == "freq1_input" && !clock_) clock_.emplace(root.path(directory + "/" + name));
        if (name == "power1_average" || name == "power1_input") powers_.emplace_back(root.path(directory + "/" + name));
        if (!name.ends_with("_input")) continue;
        const std::string label = labelOf(name);
        const auto rank = rankOnCard({.chip = chip, .label = label});
        if (name.starts_with("temp") && rank)
            temperatures_.push_back({*rank, KernelFile(root.path(directory + "/" + name))});
        // Of xe's counters the card's holds the package's; other parts have some too.
        if (!name.starts_with("energy")) continue;
        if (label == "card" || label.empty()) wholes.emplace_back(root.path(directory + "/" + name));
        if (label == "pkg") parts.emplace_back(root.path(directory + "/" + name));
    }
    for (auto* files : {&wholes, &parts}) {
        for (KernelFile& file : *files) energies_.emplace_back(std::move(file));
    }
}

std::optional<double> CardSensors::celsius() {
    for (Sensor& sensor : temperatures_) {
        if (const auto celsius = readAbove0(sensor.file, 1000, 150)) return celsius;
    }
    return std::nullopt;
}

std::optional<double> CardSensors::watts() {
    for (KernelFile& file : powers_) {
        if (const auto watts = readAbove0(file, 1e6, 3000)) return watts;
    }
    return std::nullopt;
}

std::optional<double> CardSensors::millijoules(MonotonicTime now) {
    constexpr double microjoulesPerMillijoule = 1000;
    for (EnergyCounter& counter : energies_) {
        grow(microjoules_, counter.read(now));
        if (counter.isCounting()) return static_cast<double>(microjoules_) / microjoulesPerMillijoule;
    }
    return std::nullopt;
}

void CardSensors::restartEnergy() {
    for (EnergyCounter& counter : energies_) counter.restart();
}

const KernelFile* CardSensors::file(MetricFamily family) const {
    using enum MetricFamily;
    if (family == gpuFrequency && clock_) return &*clock_;
    if (family == gpuTemperature && !temperatures_.empty()) return &temperatures_.front().file;
    if (family == gpuPower && !powers_.empty()) return &powers_.front();
    if (family != gpuPower || energies_.empty()) return nullptr;
    const auto counting = std::find_if(energies_.begin(), energies_.end(),
                                       [](const EnergyCounter& counter) { return counter.isCounting(); });
    return counting == energies_.end() ? &energies_.front().file() : &counting->file();
}

}  // namespace zqm
