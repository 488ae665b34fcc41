#include "Client/History/Tracks.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "Client/Units.h"

namespace zqm {
namespace {

constexpr double unknown = std::numeric_limits<double>::quiet_NaN();

/// A source that reads 0 has not been read.
double positive(double value) {
    return value > 0 ? value : unknown;
}

/// The mean over the processors of a kind, where there are several kinds.
template <CoreKind kind>
double kindUsage(const SystemSnapshot& now) {
    const std::vector<CoreKind>& kinds = now.cpu.coreKinds;
    double sum = 0;
    std::size_t count = 0;
    for (std::size_t i = 0; i < std::min(kinds.size(), now.cpu.perCoreUsage.size()); ++i) {
        if (kinds[i] != kind) continue;
        sum += now.cpu.perCoreUsage[i];
        ++count;
    }
    return count > 0 && count < kinds.size() ? sum / static_cast<double>(count) : unknown;
}

struct Source {
    double (*of)(const SystemSnapshot&);
    Unit unit;
    bool beginsAboveZero = false;
};
#define ZQM_TELLS(value) [](const SystemSnapshot& now) { return static_cast<double>(value); }
constexpr std::array<Source, trackCount> sources{{
    {ZQM_TELLS(now.load.value), Unit::ratio},
    {ZQM_TELLS(now.cpu.totalUsage), Unit::ratio},
    {kindUsage<CoreKind::efficiency>, Unit::ratio},
    {kindUsage<CoreKind::performance>, Unit::ratio},
    {kindUsage<CoreKind::unknown>, Unit::ratio},
    {ZQM_TELLS(positive(now.cpu.efficiencyFreqMHz)), Unit::megahertz},
    {ZQM_TELLS(positive(now.cpu.performanceFreqMHz)), Unit::megahertz},
    {ZQM_TELLS(positive(now.cpu.temperatureC)), Unit::celsius},
    {ZQM_TELLS(now.gpu.utilization), Unit::ratio, true},
    {ZQM_TELLS(positive(now.gpu.frequencyMHz)), Unit::megahertz},
    {ZQM_TELLS(positive(now.gpu.temperatureC)), Unit::celsius},
    {ZQM_TELLS(now.memory.usedBytes), Unit::bytes},
    {ZQM_TELLS(now.memory.appBytes), Unit::bytes},
    {ZQM_TELLS(now.memory.wiredBytes), Unit::bytes},
    {ZQM_TELLS(now.memory.compressedBytes), Unit::bytes, true},
    {ZQM_TELLS(now.memory.pressureFraction), Unit::ratio},
    {ZQM_TELLS(now.memory.swapUsedBytes), Unit::bytes, true},
    {ZQM_TELLS(now.network.downloadBytesPerSecond), Unit::bytesPerSecond},
    {ZQM_TELLS(now.network.uploadBytesPerSecond), Unit::bytesPerSecond},
    {ZQM_TELLS(now.disk.readBytesPerSecond), Unit::bytesPerSecond},
    {ZQM_TELLS(now.disk.writeBytesPerSecond), Unit::bytesPerSecond},
    {ZQM_TELLS(wholeWatts(now.power)), Unit::watts, true},
    {ZQM_TELLS(now.power.cpuWatts), Unit::watts, true},
    {ZQM_TELLS(now.power.gpuWatts), Unit::watts, true},
    {ZQM_TELLS(now.power.aneWatts), Unit::watts, true},
    {ZQM_TELLS(now.power.dramWatts), Unit::watts, true},
    {ZQM_TELLS(now.power.displayWatts), Unit::watts, true},
    {ZQM_TELLS(now.battery.isPresent ? now.battery.level : unknown), Unit::ratio},
    {ZQM_TELLS(now.battery.isPresent ? now.battery.powerWatts : unknown), Unit::watts, true},
}};
#undef ZQM_TELLS

}  // namespace

Figures figuresOf(const SystemSnapshot& snapshot) {
    Figures figures{};
    for (std::size_t i = 0; i < trackCount; ++i) figures[i] = static_cast<float>(sources[i].of(snapshot));
    return figures;
}

Unit unitOf(Track track) {
    return sources[indexOf(track)].unit;
}

bool beginsAboveZero(Track track) {
    return sources[indexOf(track)].beginsAboveZero;
}

}  // namespace zqm
