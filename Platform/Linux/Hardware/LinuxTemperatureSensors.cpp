#include "Platform/Linux/Hardware/LinuxTemperatureSensors.h"

#include <algorithm>
#include <utility>

#include "Platform/Linux/Kernel/KernelText.h"
#include "Support/Text.h"

namespace zqm {
namespace {

/// A sensor with what it read when the list was made.
class Sensor final : public TemperatureSensor {
public:
    Sensor(std::string name, std::optional<double> celsius) : name_(std::move(name)), celsius_(celsius) {}
    std::optional<std::string> product() const override { return name_; }
    std::optional<double> temperature() const override { return celsius_; }

private:
    std::string name_;
    std::optional<double> celsius_;
};

bool isPlausible(std::optional<double> celsius) {
    return celsius && *celsius > 0 && *celsius <= 150;
}

}  // namespace

std::optional<std::vector<std::unique_ptr<TemperatureSensor>>> LinuxTemperatureSensors::sensors() {
    MutexLock lock(mutex_);
    discover();
    std::vector<std::unique_ptr<TemperatureSensor>> list;
    list.reserve(sources_.size());
    for (Source& source : sources_) {
        if (source.file) source.celsius = read(source);
        list.push_back(std::make_unique<Sensor>(source.name, source.celsius));
    }
    for (const GraphicsReading& card : cards_.read()) {
        if (card.celsius) list.push_back(std::make_unique<Sensor>("GPU " + card.name, card.celsius));
    }
    if (list.empty()) return std::nullopt;
    return list;
}

void LinuxTemperatureSensors::discover() {
    if (!discovery_.isDue(clock_.monotonic())) return;
    Found found;
    for (const std::string& directory : chipDirectories()) addChip(found, directory);
    for (const std::string& zone : root_.names("/sys/class/thermal", "thermal_zone")) {
        addZone(found, "/sys/class/thermal/" + zone);
    }
    const std::vector<SensorName> names = nameSensors(found.descriptions);
    for (std::size_t i = 0; i < names.size(); ++i) {
        found.sources[i].name = names[i].text;
        if (!names[i].counts) found.sources[i].file.reset();
    }
    sources_ = std::move(found.sources);
}

/// The chips of the class, and those of graphics cards, which a recording may have without the class.
std::vector<std::string> LinuxTemperatureSensors::chipDirectories() const {
    std::vector<std::string> directories;
    const std::vector<std::string> chips = root_.names("/sys/class/hwmon", "hwmon");
    for (const std::string& chip : chips) directories.push_back("/sys/class/hwmon/" + chip);
    for (const std::string& card : root_.names("/sys/class/drm", "card")) {
        const std::string below = "/sys/class/drm/" + card + "/device/hwmon";
        if (card.find('-') != std::string::npos) continue;
        for (const std::string& chip : root_.names(below, "hwmon")) {
            if (!std::binary_search(chips.begin(), chips.end(), chip)) directories.push_back(below + "/" + chip);
        }
    }
    return directories;
}

void LinuxTemperatureSensors::addChip(Found& found, const std::string& directory) const {
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

void LinuxTemperatureSensors::addZone(Found& found, const std::string& directory) const {
    const auto type = root_.text(directory + "/type");
    if (type) add(found, {.chip = *type, .label = ""}, directory + "/temp", directory);
}

void LinuxTemperatureSensors::add(Found& found, SensorDescription description, const std::string& input,
                                  const std::string& device) const {
    Source source{.file = KernelFile(root_.path(input)), .powerState = {}, .name = {}, .celsius = {}};
    const std::string state = device + "/power/runtime_status";
    if (root_.text(state).value_or("unsupported") != "unsupported") source.powerState.emplace(root_.path(state));
    source.celsius = read(source);
    description.chip = repairUtf8(description.chip);
    description.label = repairUtf8(description.label);
    description.isReadable = isPlausible(source.celsius);
    found.descriptions.push_back(std::move(description));
    found.sources.push_back(std::move(source));
}

std::optional<double> LinuxTemperatureSensors::read(Source& source) {
    if (source.powerState && source.powerState->read().value_or("").starts_with("suspend")) return std::nullopt;
    std::string_view rest = source.file->read().value_or("");
    const auto line = takeLine(rest);
    const auto thousandths = line ? parseInteger(trimWhitespace(*line)) : std::nullopt;
    return thousandths ? std::optional(static_cast<double>(*thousandths) / 1000) : std::nullopt;
}

}  // namespace zqm
