#pragma once

#include <memory>
#include <string>

#include "Platform/Platform.h"
#include "Platform/Process/Dispatch.h"
#include "Platform/Process/MainLoop.h"
#include "ZQMHelper/Shared/BatteryReader.h"
#include "ZQMHelper/Shared/CPUReader.h"
#include "ZQMHelper/Shared/DiskReader.h"
#include "ZQMHelper/Shared/FrequencyReader.h"
#include "ZQMHelper/Shared/GPUReader.h"
#include "ZQMHelper/Shared/IPReader.h"
#include "ZQMHelper/Shared/MemoryReader.h"
#include "ZQMHelper/Shared/Metrics.h"
#include "ZQMHelper/Shared/NetworkReader.h"
#include "ZQMHelper/Shared/Observation.h"
#include "ZQMHelper/Shared/PowerReader.h"
#include "ZQMHelper/Shared/SMCBridge.h"
#include "ZQMHelper/Shared/SettingsStore.h"
#include "ZQMHelper/Shared/TemperatureReader.h"

namespace zqm {

/// Samples every reader on a repeating timer and publishes the result as one snapshot.
///
/// The main thread owns everything public; a sample is taken on a background queue, one at a time: a firing that finds
/// one still running is skipped, so snapshots are published in the order in which they were taken. The readers and the
/// peak power belong to the sampling job. Owned through a shared_ptr: tasks of the main loop hold the engine weakly.
class MonitorEngine : public std::enable_shared_from_this<MonitorEngine> {
public:
    MonitorEngine(std::shared_ptr<SettingsStore> settings, std::shared_ptr<SMCBridge> smc,
                  Platform& platform = Platform::current());

    /// Arms the first sample at the next whole second; from then on one per `updateInterval`, which is read once. Call
    /// once, on the main thread.
    void start();
    /// Begins one sample unless one is running. Main thread.
    void scheduleSample();

    /// The latest sample; its change is announced as "snapshot". Main thread.
    const SystemSnapshot& snapshot() const { return snapshot_; }
    /// The latest sample as JSON, or "{}" when a number in it is not finite. Main thread.
    std::string snapshotJSON() const;
    ObservationRegistrar& observation() { return observation_; }

    /// The load index of busy fractions (0–1) and a power (watts): the largest of the three, power being taken relative
    /// to the highest one seen, which is raised here and starts at 5 W. Power up to 0.5 W does not count. Sampling job.
    LoadIndex computeLoad(double cpu, double gpu, double power);
    double peakPowerWatts() const { return peakPowerWatts_; }

private:
    void scheduleTimer();
    SystemSnapshot collectSnapshot();
    void addFrequencies(SystemSnapshot& snapshot);
    void addTemperatures(SystemSnapshot& snapshot);
    void publish(SystemSnapshot snapshot);

    Platform& platform_;
    SystemSnapshot snapshot_;
    std::shared_ptr<SettingsStore> settings_;
    CPUReader cpuReader_;
    MemoryReader memoryReader_;
    NetworkReader networkReader_;
    DiskReader diskReader_;
    GPUReader gpuReader_;
    FrequencyReader frequencyReader_;
    BatteryReader batteryReader_;
    IPReader ipReader_;
    PowerReader powerReader_;
    TemperatureReader temperatureReader_;
    std::unique_ptr<Timer> timer_;
    double peakPowerWatts_ = 5.0;
    ObservationRegistrar observation_;
    bool sampling_ = false;               // main thread: a sample is under way
    std::unique_ptr<TaskQueue> sampler_;  // last: its destruction waits for the running sample
};

}  // namespace zqm
