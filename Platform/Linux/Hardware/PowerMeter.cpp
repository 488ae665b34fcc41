#include "Platform/Linux/Hardware/PowerMeter.h"

#include <string>

#include "Platform/Linux/Kernel/KernelText.h"

namespace zqm {
namespace {

const std::string chips = "/sys/class/hwmon";
constexpr double mostWatts = 10'000;

}  // namespace

std::optional<double> PowerMeter::watts() {
    discover();
    if (!microwatts_) return std::nullopt;
    std::string_view rest = microwatts_->read().value_or("");
    auto line = takeLine(rest);
    const auto microwatts = line ? takeCount(*line) : std::nullopt;
    constexpr double microwattsPerWatt = 1e6;
    const double watts = static_cast<double>(microwatts.value_or(0)) / microwattsPerWatt;
    return watts > 0 && watts <= mostWatts ? std::optional(watts) : std::nullopt;
}

void PowerMeter::discover() {
    if (!discovery_.isDue(clock_.monotonic()) || (microwatts_ && microwatts_->read())) return;
    microwatts_.reset();
    for (const std::string& chip : root_.names(chips, "hwmon")) {
        for (const std::string& file : root_.names(chips + "/" + chip, "power")) {
            const auto end = file.find("_label");
            const std::string directory = chips + "/" + chip + "/";
            if (end == std::string::npos || root_.text(directory + file) != "Total System Power") continue;
            microwatts_.emplace(root_.path(directory + file.substr(0, end) + "_input"));
            return;
        }
    }
}

SourceDescription PowerMeter::describe() {
    discover();
    return microwatts_ ? root_.describe(*microwatts_) : SourceDescription{chips, "no chip that measures it"};
}

}  // namespace zqm
