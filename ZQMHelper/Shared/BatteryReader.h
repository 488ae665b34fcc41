#pragma once

#include "Platform/Platform.h"
#include "ZQMHelper/Shared/Metrics.h"

namespace zqm {

/// The internal battery and the power adapter: charge, flags and times from the power sources, capacities, voltage and
/// current from the battery's gauge, the rating from the adapter. Keeps no state; used from one thread at a time.
class BatteryReader {
public:
    explicit BatteryReader(Platform& platform = Platform::current()) : platform_(platform) {}

    BatteryMetrics sample();

private:
    void readPowerSources(BatteryMetrics& battery);
    void readGauge(BatteryMetrics& battery);
    void readAdapter(BatteryMetrics& battery);

    Platform& platform_;
};

}  // namespace zqm
