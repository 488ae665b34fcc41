#pragma once

#include "Platform/Platform.h"
#include "ZQMHelper/Shared/Metrics.h"

namespace zqm {

/// The internal battery and the power adapter, as the machine tells them; else charge, flags and times from the power
/// sources, capacities, voltage and current from the battery's gauge, the rating from the adapter. Used from one thread
/// at a time.
class BatteryReader {
public:
    explicit BatteryReader(Platform& platform = Platform::current()) : platform_(platform) {}

    BatteryMetrics sample();
    /// What the battery gave at the last sample, watts; 0 unless the machine tells that it is being discharged.
    double drainWatts() const { return drainWatts_; }

private:
    BatteryMetrics samplePlain();
    void readPowerSources(BatteryMetrics& battery);
    void readGauge(BatteryMetrics& battery);
    void readAdapter(BatteryMetrics& battery);

    Platform& platform_;
    double drainWatts_ = 0;
};

}  // namespace zqm
