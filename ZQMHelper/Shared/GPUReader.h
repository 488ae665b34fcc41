#pragma once

#include "Platform/Platform.h"
#include "ZQMHelper/Shared/Metrics.h"

namespace zqm {

/// How busy the graphics processors are, from the statistics that their drivers publish. Keeps no state: callable from
/// several threads at once.
class GPUReader {
public:
    explicit GPUReader(Platform& platform = Platform::current()) : registry_(platform.registry) {}

    /// `utilization` of the busiest GPU and `frequencyMHz` of the fastest; the other fields stay 0.
    GPUMetrics sample() const;

private:
    Registry& registry_;
};

}  // namespace zqm
