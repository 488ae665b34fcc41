#include "Client/Levels.h"

#include <algorithm>

#include "Client/Units.h"
#include "Support/Text.h"

namespace zqm {
namespace {

Level rising(double value, Limit limit) {
    return value >= limit.critical ? Level::critical : value >= limit.warning ? Level::warning : Level::normal;
}

Level falling(double value, Limit limit) {
    return rising(-value, {-limit.warning, -limit.critical});
}

Level memoryLevel(const MemoryMetrics& memory, Limit limit) {
    if (memory.pressureLevel > 0) return rising(static_cast<double>(memory.pressureLevel), {2, 4});
    return memory.totalBytes > 0 ? rising(usedShare(memory), limit) : Level::normal;
}

/// Two numbers after "NAME=", removed from `list`.
std::optional<Limit> takeLimit(std::string_view& list, double most) {
    const auto warning = parseDouble(takeUntil(list, ','));
    const auto critical = parseDouble(takeUntil(list, ','));
    const auto isAllowed = [most](const auto& number) { return number && *number >= 0 && *number <= most; };
    return isAllowed(warning) && isAllowed(critical) ? std::optional(Limit{*warning, *critical}) : std::nullopt;
}

}  // namespace

std::optional<Limits> parseLimits(std::string_view list) {
    Limits limits = usualLimits;
    while (!list.empty()) {
        const auto name = fromRawValue<Limited>(takeUntil(list, '='));
        if (!name) return std::nullopt;
        const bool isHeat = *name == Limited::temperature;
        const auto limit = takeLimit(list, isHeat ? 1000 : 100);
        if (!limit || (*name == Limited::battery ? limit->critical > limit->warning : limit->critical < limit->warning))
            return std::nullopt;
        const double unit = isHeat ? 1 : 100;
        limits[static_cast<std::size_t>(*name)] = {limit->warning / unit, limit->critical / unit};
    }
    return limits;
}

Levels::Levels(const SystemSnapshot& snapshot, const Limits& limits) {
    const auto limit = [&](Limited what) { return limits[static_cast<std::size_t>(what)]; };
    const BatteryMetrics& battery = snapshot.battery;
    at(Aspect::load) = rising(snapshot.load.value, limit(Limited::load));
    at(Aspect::cpu) = rising(snapshot.cpu.totalUsage, limit(Limited::cpu));
    at(Aspect::gpu) = rising(snapshot.gpu.utilization, limit(Limited::gpu));
    at(Aspect::cpuHeat) = rising(snapshot.cpu.temperatureC, limit(Limited::temperature));
    at(Aspect::gpuHeat) = rising(snapshot.gpu.temperatureC, limit(Limited::temperature));
    at(Aspect::memory) = memoryLevel(snapshot.memory, limit(Limited::memory));
    if (battery.isPresent && !battery.onACPower) at(Aspect::battery) = falling(battery.level, limit(Limited::battery));
}

Levels Levels::lowest(const Levels& other) const {
    Levels result;
    std::transform(levels_.begin(), levels_.end(), other.levels_.begin(), result.levels_.begin(),
                   [](Level one, Level two) { return std::min(one, two); });
    return result;
}

Levels LevelTrail::add(const Levels& latest) {
    const Levels shown = latest.lowest(before_[0]).lowest(before_[1]);
    before_ = {before_[1], latest};
    return shown;
}

Level spaceLevel(const FileSystem& system) {
    if (system.total == 0) return Level::normal;
    const double left = static_cast<double>(system.available) / static_cast<double>(system.total);
    return left < 0.05 ? Level::critical : left < 0.10 ? Level::warning : Level::normal;
}

}  // namespace zqm
