#include "ZQMHelper/Shared/Metrics.h"

#include "Platform/Platform.h"

namespace zqm {

WallTime currentWallTime() {
    return Platform::hasCurrent() ? Platform::current().clock.wall() : WallTime();
}

}  // namespace zqm
