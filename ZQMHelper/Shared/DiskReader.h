#pragma once

#include "Platform/Platform.h"
#include "ZQMHelper/Shared/Metrics.h"
#include "ZQMHelper/Shared/Throughput.h"

namespace zqm {

/// Bytes read from and written to whole drives, as the machine tells them or the block-storage drivers' statistics.
/// Used from one thread at a time.
class DiskReader {
public:
    explicit DiskReader(Platform& platform = Platform::current()) : platform_(platform) {}

    DiskMetrics sample();

    /// The counters' sums over all drives; 0 when they cannot be listed. A counter that is missing adds nothing.
    static BytePair readCounters(Platform& platform);

private:
    Platform& platform_;
    Throughput throughput_;
};

}  // namespace zqm
