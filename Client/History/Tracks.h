#pragma once

#include <array>
#include <cstddef>

#include "ZQMHelper/Shared/Metrics.h"

namespace zqm {

/// A figure whose past is kept and drawn.
enum class Track {
    load,
    cpu,
    cpuEfficiency,
    cpuPerformance,
    cpuOther,
    efficiencyClock,
    performanceClock,
    cpuTemperature,
    gpu,
    gpuClock,
    gpuTemperature,
    memory,
    memoryApp,
    memoryWired,
    memoryCompressed,
    memoryPressure,
    swap,
    download,
    upload,
    diskRead,
    diskWrite,
    power,
    cpuPower,
    gpuPower,
    anePower,
    dramPower,
    displayPower,
    battery,
    batteryPower
};
template <>
struct RawValues<Track> {
    static constexpr std::array<std::string_view, 29> texts{"load",
                                                            "cpu",
                                                            "cpu.efficiency",
                                                            "cpu.performance",
                                                            "cpu.other",
                                                            "cpu.clock.efficiency",
                                                            "cpu.clock.performance",
                                                            "cpu.temperature",
                                                            "gpu",
                                                            "gpu.clock",
                                                            "gpu.temperature",
                                                            "memory",
                                                            "memory.app",
                                                            "memory.wired",
                                                            "memory.compressed",
                                                            "memory.pressure",
                                                            "swap",
                                                            "network.download",
                                                            "network.upload",
                                                            "disk.read",
                                                            "disk.write",
                                                            "power",
                                                            "power.cpu",
                                                            "power.gpu",
                                                            "power.ane",
                                                            "power.dram",
                                                            "power.display",
                                                            "battery",
                                                            "battery.power"};
};
constexpr std::size_t trackCount = allCases<Track>().size();
constexpr std::size_t indexOf(Track track) {
    return static_cast<std::size_t>(track);
}

/// What one sample tells of every track, in its unit; NaN: it tells nothing.
using Figures = std::array<float, trackCount>;
Figures figuresOf(const SystemSnapshot& snapshot);

Unit unitOf(Track track);

/// Whether 0 may also mean that the machine has no such part, so that its past begins with the first other value.
bool beginsAboveZero(Track track);

}  // namespace zqm
