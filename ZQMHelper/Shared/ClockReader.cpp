#include "ZQMHelper/Shared/ClockReader.h"

#include <algorithm>
#include <cmath>

namespace zqm {

Seconds ClockReader::delayToNextSecond(WallTime time) {
    const double now = time.time_since_epoch().count();
    return Seconds(std::max(0.01, std::floor(now) + 1 - now));
}

}  // namespace zqm
