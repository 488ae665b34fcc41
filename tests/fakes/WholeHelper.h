#pragma once

#include "ZQMHelper/SensorSnapshot.h"
#include "tests/fakes/MachinePlatform.h"

namespace zqm {

/// The helper's samplers on a machine, in virtual time.
struct WholeHelper {
    WholeHelper(Machine& machine, FakePlatform& process) : platform(platformOn(machine, process)) {
        process.userDefaults.numbers["updateInterval"] = 1;
        snapshot.setProcessReader(processes);
        snapshot.setEngine(engine);
    }
    void start() {
        processes->start();
        engine->start();
    }

    Platform platform;
    std::shared_ptr<SMCBridge> controller = std::make_shared<SMCBridge>(platform);
    std::shared_ptr<ProcessReader> processes = std::make_shared<ProcessReader>(platform);
    std::shared_ptr<MonitorEngine> engine =
        std::make_shared<MonitorEngine>(std::make_shared<SettingsStore>(platform), controller, platform);
    SensorSnapshot snapshot{platform};
};

}  // namespace zqm
