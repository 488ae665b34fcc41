#include "Platform/Linux/LinuxSources.h"

#include <fcntl.h>
#include <glob.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <system_error>

#include "Platform/Posix/Descriptor.h"
#include "Support/Text.h"

namespace zqm {
namespace {

using enum MetricFamily;

/// Files that a family may be read from. Where `kinds` is given the pattern finds files that say what the directory
/// stands for; one that begins with a word of `kinds` qualifies, and `file` beside it is what is read.
struct Candidate {
    MetricFamily family;
    std::string_view pattern;
    std::string_view kinds = {};
    std::string_view file = {};
};

constexpr std::string_view processorChips = "coretemp k10temp zenpower k8temp via_cputemp";
constexpr std::string_view processorZones = "x86_pkg_temp cpu big mid little soc bcm2835_thermal";
constexpr std::string_view graphicsChips = "amdgpu radeon nouveau i915 xe";
constexpr std::string_view graphicsZones = "gpu g3d";
constexpr std::string_view nvidiaCards =
    "/sys/bus/pci/drivers/nvidia/*/power/runtime_status";  // of the library's cards

/// Per family the best first.
constexpr Candidate candidates[]{
    {cpuUsage, "/proc/stat"},
    {coreKinds, "/sys/devices/cpu_core/cpus"},
    {coreKinds, "/sys/devices/system/cpu/cpu[0-9]*/cpu_capacity"},
    {coreKinds, "/sys/devices/system/cpu/cpu[0-9]*/cpufreq/cpuinfo_max_freq"},
    {coreKinds, "/proc/stat"},
    {memory, "/proc/meminfo"},
    {swap, "/proc/meminfo"},
    {memoryPressure, "/proc/pressure/memory"},
    {network, "/proc/net/dev"},
    {disk, "/proc/diskstats"},
    {gpuUtilization, "/sys/class/drm/card*/device/gpu_busy_percent"},
    {gpuUtilization, "/sys/class/drm/card*/gt/gt*/rc6_residency_ms"},
    {gpuUtilization, "/sys/class/drm/card*/power/rc6_residency_ms"},
    {gpuUtilization, "/sys/class/drm/card*/device/tile*/gt*/gtidle/idle_residency_ms"},
    {gpuUtilization, nvidiaCards},
    {gpuFrequency, "/sys/class/drm/card*/device/hwmon/hwmon*/freq1_input"},
    {gpuFrequency, "/sys/class/drm/card*/device/pp_dpm_sclk"},
    {gpuFrequency, "/sys/class/drm/card*/gt/gt*/rps_act_freq_mhz"},
    {gpuFrequency, "/sys/class/drm/card*/gt_act_freq_mhz"},
    {gpuFrequency, "/sys/class/drm/card*/device/tile*/gt*/freq0/act_freq"},
    {gpuFrequency, nvidiaCards},
    {cpuFrequency, "/sys/devices/system/cpu/cpufreq/policy*/stats/time_in_state"},
    {cpuFrequency, "/sys/devices/system/cpu/cpu[0-9]*/cpufreq/scaling_cur_freq"},
    {cpuFrequency, "/proc/cpuinfo"},
    {coreFrequency, "/sys/devices/system/cpu/cpu[0-9]*/cpufreq/scaling_cur_freq"},
    {coreFrequency, "/proc/cpuinfo"},
    {cpuPower, "/sys/class/powercap/intel-rapl:*/name", "package", "energy_uj"},
    {gpuPower, "/sys/class/powercap/intel-rapl:*/name", "uncore", "energy_uj"},
    {dramPower, "/sys/class/powercap/intel-rapl:*/name", "dram", "energy_uj"},
    {systemPower, "/sys/class/powercap/intel-rapl:*/name", "psys", "energy_uj"},
    {systemPower, "/sys/class/power_supply/*/type", "Battery", "uevent"},
    {cpuTemperature, "/sys/class/hwmon/hwmon*/name", processorChips, "temp1_input"},
    {cpuTemperature, "/sys/class/thermal/thermal_zone*/type", processorZones, "temp"},
    {gpuTemperature, "/sys/class/hwmon/hwmon*/name", graphicsChips, "temp1_input"},
    {gpuTemperature, "/sys/class/thermal/thermal_zone*/type", graphicsZones, "temp"},
    {gpuTemperature, nvidiaCards},
    {battery, "/sys/class/power_supply/*/type", "Battery", "uevent"},
    {adapter, "/sys/class/power_supply/*/type", "Mains USB", "uevent"},
};

/// What helps a person who finds nothing.
std::string_view hint(MetricFamily family) {
    switch (family) {
        case memoryPressure:
            return "the kernel keeps no pressure stall information, or was booted with psi=0";
        case anePower:
        case displayPower:
            return "not measured on Linux";
        default:
            return {};
    }
}

/// Paths below the root that fit the pattern, sorted.
std::vector<std::string> expand(const RootDirectory& root, std::string_view pattern) {
    std::string whole;
    for (const char c : root.path("")) {
        if (std::string_view("*?[\\").find(c) != std::string_view::npos) whole += '\\';
        whole += c;
    }
    glob_t found{};
    std::vector<std::string> paths;
    if (::glob((whole + std::string(pattern)).c_str(), 0, nullptr, &found) == 0) {
        for (std::size_t i = 0; i < found.gl_pathc; ++i) {
            paths.push_back(std::string(found.gl_pathv[i]).substr(root.path("").size()));
        }
    }
    ::globfree(&found);
    return paths;
}

/// Whether the file at `marker` names one of `kinds`, and does not say that it belongs to a mouse or a pen.
bool isOfKind(const RootDirectory& root, const std::string& directory, const std::string& marker,
              std::string_view kinds) {
    const std::string text = root.text(marker).value_or("");
    bool fits = false;
    while (!kinds.empty()) {
        const std::string_view kind = takeWord(kinds);
        fits |= !kind.empty() && text.starts_with(kind);
    }
    return fits && root.text(directory + "scope") != "Device";
}

/// What a person is told to look for when there is none.
std::string placeOf(const Candidate& candidate) {
    std::string place(candidate.pattern);
    if (candidate.kinds.empty()) return place;
    place.replace(place.rfind('/') + 1, std::string::npos, candidate.file);
    return place + " (" + std::string(candidate.kinds) + ")";
}

/// The files that a candidate stands for on this machine.
std::vector<std::string> files(const RootDirectory& root, const Candidate& candidate) {
    std::vector<std::string> found = expand(root, candidate.pattern);
    if (candidate.kinds.empty()) return found;
    std::vector<std::string> beside;
    for (const std::string& marker : found) {
        const std::string directory = marker.substr(0, marker.rfind('/') + 1);
        if (isOfKind(root, directory, marker, candidate.kinds))
            beside.push_back(directory + std::string(candidate.file));
    }
    return beside;
}

/// Why the file cannot be read, in the system's words; empty when it can.
std::string readError(const std::string& path) {
    char byte;
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (file && ::read(file.get(), &byte, 1) >= 0) return {};
    return std::generic_category().message(errno);
}

}  // namespace

SourceDescription LinuxSources::describe(MetricFamily family) {
    SourceDescription failed;
    for (const Candidate& candidate : candidates) {
        if (candidate.family != family) continue;
        for (std::string& file : files(root_, candidate)) {
            std::string error = readError(root_.path(file));
            if (error.empty()) return {std::move(file), ""};
            if (failed.absence.empty()) failed = {std::move(file), std::move(error)};
        }
        if (failed.place.empty()) failed.place = placeOf(candidate);
    }
    if (failed.absence.empty() && !failed.place.empty()) failed.absence = "no such file";
    if (const std::string_view help = hint(family); !help.empty()) {
        failed.absence += failed.absence.empty() ? std::string(help) : " (" + std::string(help) + ")";
    }
    return failed;
}

}  // namespace zqm
