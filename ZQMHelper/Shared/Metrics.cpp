#include "ZQMHelper/Shared/Metrics.h"

#include "Platform/Platform.h"

namespace zqm {

WallTime currentWallTime() {
    return Platform::current().clock.wall();
}

}  // namespace zqm
