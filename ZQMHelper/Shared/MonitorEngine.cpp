#include "ZQMHelper/Shared/MonitorEngine.h"

#include <algorithm>
#include <cassert>
#include <exception>
#include <utility>

#include "Platform/Process/Log.h"
#include "ZQMHelper/Shared/ClockReader.h"
#include "ZQMHelper/Shared/MetricsJson.h"

namespace zqm {

MonitorEngine::MonitorEngine(std::shared_ptr<SettingsStore> settings, std::shared_ptr<SMCBridge> smc,
                             Platform& platform)
    : platform_(platform),
      settings_(std::move(settings)),
      cpuReader_(platform),
      memoryReader_(platform),
      networkReader_(platform),
      diskReader_(platform),
      gpuReader_(platform),
      frequencyReader_(platform),
      batteryReader_(platform),
      ipReader_(platform),
      powerReader_(std::move(smc), platform),
      temperatureReader_(platform),
      sampler_(platform.dispatch.makeQueue("zqm.sampler", 1)) {}

void MonitorEngine::start() {
    platform_.log.print("[ZQM] engine.start 调用");
    const Seconds delay = ClockReader::delayToNextSecond(platform_.clock.wall());
    platform_.mainLoop.postAfter(delay, [weak = weak_from_this(), &log = platform_.log] {
        log.print("[ZQM] scheduleTimer 触发");
        if (auto engine = weak.lock()) engine->scheduleTimer();
    });
}

void MonitorEngine::scheduleTimer() {
    assert(platform_.mainLoop.isCurrent());
    if (timer_) return;
    scheduleSample();
    timer_ = platform_.mainLoop.every(Seconds(settings_->updateInterval()), [weak = weak_from_this()] {
        if (auto engine = weak.lock()) engine->scheduleSample();
    });
}

void MonitorEngine::scheduleSample() {
    if (sampling_) return;
    sampling_ = true;
    // The job may use `this`: the queue, which the engine owns, outlives none of its jobs.
    sampler_->post([this, weak = weak_from_this(), &loop = platform_.mainLoop] {
        std::shared_ptr<SystemSnapshot> sample;
        try {
            sample = std::make_shared<SystemSnapshot>(collectSnapshot());
        } catch (const std::exception&) {
            // Out of memory: this sample is lost, the next firing tries again.
        }
        loop.post([weak, sample] {
            const auto engine = weak.lock();
            if (!engine) return;
            engine->sampling_ = false;
            if (sample) engine->publish(std::move(*sample));
        });
    });
}

SystemSnapshot MonitorEngine::collectSnapshot() {
    SystemSnapshot snapshot;
    snapshot.cpu = cpuReader_.sample();
    snapshot.memory = memoryReader_.sample();
    snapshot.network = networkReader_.sample();
    snapshot.disk = diskReader_.sample();
    snapshot.gpu = gpuReader_.sample();
    snapshot.battery = batteryReader_.sample();
    snapshot.clock.now = platform_.clock.wall();
    snapshot.ip = ipReader_.sample();
    snapshot.power = powerReader_.sample(batteryReader_.drainWatts());
    addFrequencies(snapshot);
    addTemperatures(snapshot);
    snapshot.load = computeLoad(snapshot.cpu.totalUsage, snapshot.gpu.utilization, snapshot.power.totalWatts);
    return snapshot;
}

/// The GPU driver's own clock stays where the counters know none.
void MonitorEngine::addFrequencies(SystemSnapshot& snapshot) {
    auto frequencies = frequencyReader_.sample();
    snapshot.cpu.efficiencyFreqMHz = frequencies.efficiencyMHz;
    snapshot.cpu.performanceFreqMHz = frequencies.performanceMHz;
    snapshot.cpu.efficiencyMaxMHz = frequencies.efficiencyMaxMHz;
    snapshot.cpu.performanceMaxMHz = frequencies.performanceMaxMHz;
    snapshot.cpu.perCoreFreqMHz = std::move(frequencies.perCoreMHz);
    if (frequencies.gpuMHz > 0) snapshot.gpu.frequencyMHz = frequencies.gpuMHz;
    if (frequencies.gpuMaxMHz > 0) snapshot.gpu.maxFrequencyMHz = frequencies.gpuMaxMHz;
}

/// The GPU's own is better than that of the sensors around it.
void MonitorEngine::addTemperatures(SystemSnapshot& snapshot) {
    const auto temperatures = temperatureReader_.sample();
    snapshot.cpu.temperatureC = temperatures.cpu;
    if (snapshot.gpu.temperatureC <= 0) snapshot.gpu.temperatureC = temperatures.gpu;
}

void MonitorEngine::publish(SystemSnapshot snapshot) {
    observation_.withMutation("snapshot", [&] { snapshot_ = std::move(snapshot); });
}

LoadIndex MonitorEngine::computeLoad(double cpu, double gpu, double power) {
    double load = std::max(cpu, gpu);
    if (power > 0.5) {
        peakPowerWatts_ = std::max(peakPowerWatts_, power);
        load = std::max(load, power / peakPowerWatts_);
    }
    return {std::clamp(load, 0.0, 1.0)};
}

std::string MonitorEngine::snapshotJSON() const {
    observation_.access("snapshot");
    return encode(snapshot_).value_or("{}");
}

}  // namespace zqm
