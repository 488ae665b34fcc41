#pragma once

#include "Platform/Platform.h"
#include "ZQMHelper/Shared/Metrics.h"
#include "ZQMHelper/Shared/Throughput.h"

namespace zqm {

/// Bytes sent and received by the Ethernet-class interfaces (names that begin with "en": wired and wireless, never
/// loopback, tunnels or bridges). Used from one thread at a time.
class NetworkReader {
public:
    explicit NetworkReader(Platform& platform = Platform::current()) : platform_(platform) {}

    NetworkMetrics sample();

    /// The counters' sums; 0 when the interfaces cannot be listed.
    static BytePair readCounters(Platform& platform);

private:
    Platform& platform_;
    Throughput throughput_;
};

}  // namespace zqm
