#include "Platform/Linux/Hardware/EnergyCounter.h"

#include <algorithm>
#include <limits>

#include "Support/Saturated.h"

namespace zqm {

std::uint64_t EnergyCounter::read(MonotonicTime now) {
    const auto value = readCount(file_);
    if (!value || (range_ > 0 && *value > range_)) return 0;
    const auto last = std::exchange(last_, value);
    const double seconds = std::max((now - std::exchange(lastTime_, now)).count(), 1.0);
    if (!last) return 0;
    // A counter that falls has passed its range or was set back to 0, as by a sleep of the machine; a driver that takes
    // the latter for the former lets its own counter leap.
    const std::uint64_t ofRange = range_ > *last ? range_ - *last + *value : 0;
    const std::uint64_t growth = *value >= *last ? *value - *last : ofRange;
    constexpr double mostWatts = 10'000;
    constexpr double microjoules = 1e6;  // per joule
    return static_cast<double>(growth) <= mostWatts * seconds * microjoules ? growth : 0;
}

void grow(std::uint64_t& total, std::uint64_t growth) {
    constexpr std::uint64_t most = std::numeric_limits<std::int64_t>::max();
    total = std::min(addSaturated(total, growth), most);
}

}  // namespace zqm
