#include "Platform/Linux/Details/LinuxDetails.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>

#include "Platform/Linux/Processes/ProcessFiles.h"
#include "Platform/Linux/Processes/ProcessScan.h"
#include "Platform/Posix/UserName.h"
#include "Support/Text.h"

namespace zqm {

std::optional<MachineSize> LinuxDetails::size() {
    const auto memory = readings_.memory();
    const auto ticks = readings_.processorTicks();
    return memory && ticks ? std::optional(MachineSize{memory->total, ticks->size()}) : std::nullopt;
}

std::optional<ProcessFacts> LinuxDetails::process(std::int32_t pid) {
    const std::string directory = root_.path("/proc/" + std::to_string(pid));
    struct stat owner {};
    std::array<char, 4096> buffer;
    if (::stat(directory.c_str(), &owner) != 0) return std::nullopt;
    const auto text = readProcessFile(AT_FDCWD, (directory + "/stat").c_str(), buffer);
    const auto stat = text ? parseProcessStat(*text) : std::nullopt;
    if (!stat) return std::nullopt;
    ProcessFacts facts{
        .startTime = stat->startTicks, .user = userName(owner.st_uid), .command = "[" + std::string(stat->name) + "]"};
    const auto arguments = readProcessFile(AT_FDCWD, (directory + "/cmdline").c_str(), buffer);
    if (!arguments || arguments->empty()) return facts;
    facts.command = *arguments;
    while (facts.command.ends_with('\0')) facts.command.pop_back();
    std::replace(facts.command.begin(), facts.command.end(), '\0', ' ');
    return facts;
}

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
