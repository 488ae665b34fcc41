#include "Platform/Linux/Hardware/Temperatures.h"

#include <algorithm>
#include <utility>

#include "Platform/Linux/Kernel/KernelText.h"
#include "Support/Text.h"

namespace zqm {
namespace {

bool isPlausible(std::optional<double> celsius) {
    return celsius && *celsius > 0 && *celsius <= 150;
}

}  // namespace

TemperatureReading Temperatures::read() {
    discover();
    TemperatureReading reading;
    for (Source& source : sources_) {
        const auto celsius = read(source);
        if (celsius) (source.part == SensorPart::graphics ? reading.graphics : reading.processors).push_back(*celsius);
    }
    return reading;
}

void Temperatures::discover() {
    if (!discovery_.isDue(clock_.monotonic())) return;
    Found found;
    for (const std::string& directory : chipDirectories()) addChip(found, directory);
    for (const std::string& zone : root_.names("/sys/class/thermal", "thermal_zone")) {
        addZone(found, "/sys/class/thermal/" + zone);
    }
    const std::vector<SensorPart> parts = chooseSensors(found.descriptions);
    sources_.clear();
    for (std::size_t i = 0; i < parts.size(); ++i) {
        found.sources[i].part = parts[i];
        if (parts[i] != SensorPart::other) sources_.push_back(std::move(found.sources[i]));
    }
}

/// Those of graphics cards tell their card's figures and are left to it.
std::vector<std::string> Temperatures::chipDirectories() const {
    std::vector<std::string> directories;
    std::vector<std::string> ofCards;
    for (const std::string& card : root_.names("/sys/class/drm", "card")) {
        for (std::string& chip : root_.names("/sys/class/drm/" + card + "/device/hwmon", "hwmon")) {
            ofCards.push_back(std::move(chip));
        }
    }
    for (const std::string& chip : root_.names("/sys/class/hwmon", "hwmon")) {
        const bool isOfCard = std::find(ofCards.begin(), ofCards.end(), chip) != ofCards.end();
        if (!isOfCard) directories.push_back("/sys/class/hwmon/" + chip);
    }
    return directories;
}

void Temperatures::addChip(Found& found, const std::string& directory) const {
    const auto chip = root_.text(directory + "/name");
    if (!chip || *chip == "drivetemp") return;
    for (const std::string& file : root_.names(directory, "temp")) {
        constexpr std::string_view ending = "_input";
        if (!file.ends_with(ending)) continue;
        const std::string number = file.substr(0, file.size() - ending.size());
        add(found, {.chip = *chip, .label = root_.text(directory + "/" + number + "_label").value_or("")},
            directory + "/" + file, directory + "/device");
    }
}

void Temperatures::addZone(Found& found, const std::string& directory) const {
    const auto type = root_.text(directory + "/type");
    if (type) add(found, {.chip = *type, .label = "", .isZone = true}, directory + "/temp", directory);
}

void Temperatures::add(Found& found, SensorDescription description, const std::string& input,
                       const std::string& device) const {
    Source source{.file = KernelFile(root_.path(input)), .powerState = {}};
    const std::string state = device + "/power/runtime_status";
    if (root_.text(state).value_or("unsupported") != "unsupported") source.powerState.emplace(root_.path(state));
    const auto celsius = read(source);
    description.isReadable = isPlausible(celsius);
    description.celsius = celsius.value_or(0);
    found.descriptions.push_back(std::move(description));
    found.sources.push_back(std::move(source));
}

std::optional<double> Temperatures::read(Source& source) {
    if (source.powerState && source.powerState->read().value_or("").starts_with("suspend")) return std::nullopt;
    std::string_view rest = source.file.read().value_or("");
    const auto line = takeLine(rest);
    const auto thousandths = line ? parseInteger(trimWhitespace(*line)) : std::nullopt;
    return thousandths ? std::optional(static_cast<double>(*thousandths) / 1000) : std::nullopt;
}

SourceDescription Temperatures::describe(MetricFamily family) {
    discover();
    const SensorPart part = family == MetricFamily::gpuTemperature ? SensorPart::graphics : SensorPart::processor;
    const auto found =
        std::find_if(sources_.begin(), sources_.end(), [&](const Source& source) { return source.part == part; });
    if (found != sources_.end()) return root_.describe(found->file);
    return {"/sys/class/hwmon/*/name, /sys/class/thermal/*/type",
            part == SensorPart::graphics ? "no sensor of a graphics card" : "no sensor of a processor"};
}

}  // namespace zqm
