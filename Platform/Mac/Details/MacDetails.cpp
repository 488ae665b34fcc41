#include "Platform/Mac/Details/MacDetails.h"

#include <signal.h>

#include <algorithm>
#include <cerrno>
#include <cmath>

#include "Platform/Apple/Controller.h"
#include "Platform/Apple/HostStatistics.h"
#include "Platform/Apple/TemperatureSensors.h"
#include "Platform/Apple/TransferCounters.h"
#include "Platform/Mac/Details/ProcessFacts.h"
#include "Platform/Mac/Details/Volumes.h"

namespace zqm {

std::optional<MachineSize> MacDetails::size() {
    const auto memory = sysctlValue<std::uint64_t>(sysctl_, "hw.memsize");
    const auto ticks = services_.hostStatistics.processorTicks();
    return memory && ticks ? std::optional(MachineSize{*memory, ticks->size()}) : std::nullopt;
}

std::vector<DriveReading> MacDetails::drives() {
    std::vector<DriveReading> drives;
    const auto drivers = services_.registry.services("IOBlockStorageDriver");
    if (!drivers) return drives;
    for (const auto& driver : *drivers) {
        auto drive = driveCounters(*driver);
        auto name = drive ? driveName(*driver) : std::nullopt;
        if (!name) continue;
        drive->name = std::move(*name);
        drives.push_back(std::move(*drive));
    }
    return drives;
}

std::vector<InterfaceReading> MacDetails::interfaces() {
    return countedInterfaces(sysctl_).value_or(std::vector<InterfaceReading>{});
}

bool MacDetails::isRunning(std::int32_t pid) {
    return ::kill(pid, 0) == 0 || errno != ESRCH;
}

std::optional<ProcessFacts> MacDetails::process(std::int32_t pid) {
    return readProcess(sysctl_, pid);
}

std::vector<FileSystem> MacDetails::fileSystems() {
    return readVolumes(calls_);
}

std::optional<std::array<double, 3>> MacDetails::loadAverages() {
    std::array<double, 3> averages{};
    const int count = static_cast<int>(averages.size());
    if (!calls_.getloadavg || calls_.getloadavg(averages.data(), count) != count) return std::nullopt;
    const bool areTold =
        std::all_of(averages.begin(), averages.end(), [](double load) { return std::isfinite(load) && load >= 0; });
    return areTold ? std::optional(averages) : std::nullopt;
}

/// The kernel moves its record with the wall clock whenever that is set, so that their difference stays.
std::optional<Seconds> MacDetails::uptime() {
    struct BootTime {
        std::int64_t seconds;
        std::int32_t microseconds, unused;
    };
    const auto boot = sysctlValue<BootTime>(sysctl_, "kern.boottime");
    if (!boot || boot->seconds <= 0) return std::nullopt;  // 0: a clock that was never set
    const Seconds start(static_cast<double>(boot->seconds) + static_cast<double>(boot->microseconds) * 1e-6);
    const Seconds uptime = clock_.wall() - WallTime(start);
    return uptime >= Seconds(0) ? std::optional(uptime) : std::nullopt;
}

std::vector<SensorFigure> MacDetails::temperatures() {
    std::vector<SensorFigure> figures;
    const auto sensors = services_.temperatureSensors.sensors();
    if (!sensors) return figures;
    for (const auto& sensor : *sensors) {
        const auto name = sensor->product();
        const auto celsius = sensor->temperature();
        if (name && !name->empty() && celsius) addTemperature(figures, *name, *celsius);
    }
    return figures;
}

std::vector<SensorFigure> MacDetails::fans() {
    constexpr double most = 10;  // one digit of their keys
    std::vector<SensorFigure> figures;
    const auto controller = openController(services_.registry);
    const auto numberOf = [&](const std::string& key) {
        const auto value = controller ? readController(*controller, key) : std::nullopt;
        return value ? value->number() : std::nullopt;
    };
    const double count = std::min(numberOf("FNum").value_or(0), most);
    for (int i = 0; i < count; ++i) {
        const auto turns = numberOf("F" + std::to_string(i) + "Ac");
        if (turns) addFan(figures, "fan " + std::to_string(i + 1), *turns);
    }
    return figures;
}

}  // namespace zqm
