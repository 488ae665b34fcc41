#include "Platform/Linux/Details/LinuxDetails.h"

#include "Support/Text.h"

namespace zqm {

std::optional<std::array<double, 3>> LinuxDetails::loadAverages() {
    const std::string text = root_.text("/proc/loadavg").value_or("");
    std::string_view rest = text;
    std::array<double, 3> averages{};
    for (double& average : averages) {
        const auto value = parseDouble(takeWord(rest));
        if (!value || *value < 0) return std::nullopt;
        average = *value;
    }
    return averages;
}

std::optional<Seconds> LinuxDetails::uptime() {
    const std::string text = root_.text("/proc/uptime").value_or("");
    std::string_view rest = text;
    const auto seconds = parseDouble(takeWord(rest));
    return seconds && *seconds >= 0 ? std::optional(Seconds(*seconds)) : std::nullopt;
}

}  // namespace zqm
