#include "Platform/Linux/Details/NamedSensors.h"

#include <string>
#include <string_view>
#include <utility>

#include "Support/Text.h"

namespace zqm {
namespace {

std::optional<std::int64_t> number(const RootDirectory& root, const std::string& file) {
    const auto text = root.text(file);
    return text ? parseInteger(*text) : std::nullopt;
}

/// The figures of all files `kind`N_input of all chips.
std::vector<std::pair<std::string, std::int64_t>> chipFigures(const RootDirectory& root, std::string_view kind) {
    std::vector<std::pair<std::string, std::int64_t>> figures;
    for (const std::string& directory : root.names("/sys/class/hwmon", "hwmon")) {
        const std::string chip = "/sys/class/hwmon/" + directory + "/";
        const std::string name = repairUtf8(root.text(chip + "name").value_or(directory));
        const bool sleeps = root.text(chip + "device/power/runtime_status").value_or("").starts_with("suspend");
        if (name == "drivetemp" || sleeps) continue;
        for (const std::string& file : root.names(chip, kind)) {
            const std::string_view sensor = std::string_view(file).substr(0, file.find('_'));
            const auto value = file.ends_with("_input") ? number(root, chip + file) : std::nullopt;
            if (!value) continue;
            const auto label = root.text(chip + std::string(sensor) + "_label");
            figures.emplace_back(name + " " + repairUtf8(label.value_or(std::string(sensor))), *value);
        }
    }
    return figures;
}

double celsius(std::int64_t thousandths) {
    return static_cast<double>(thousandths) / 1000;
}

}  // namespace

std::vector<SensorFigure> readTemperatures(const RootDirectory& root) {
    std::vector<SensorFigure> figures;
    for (const auto& [name, value] : chipFigures(root, "temp")) addTemperature(figures, name, celsius(value));
    if (!figures.empty()) return figures;
    for (const std::string& zone : root.names("/sys/class/thermal", "thermal_zone")) {
        const std::string directory = "/sys/class/thermal/" + zone + "/";
        const auto value = number(root, directory + "temp");
        const std::string type = repairUtf8(root.text(directory + "type").value_or(zone));
        if (value) addTemperature(figures, type, celsius(*value));
    }
    return figures;
}

std::vector<SensorFigure> readFans(const RootDirectory& root) {
    std::vector<SensorFigure> figures;
    for (const auto& [name, value] : chipFigures(root, "fan")) {
        addFan(figures, name, static_cast<double>(value));
    }
    return figures;
}

}  // namespace zqm
