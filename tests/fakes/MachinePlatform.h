#pragma once

#include "Platform/Machine.h"
#include "tests/fakes/FakePlatform.h"

namespace zqm {

/// The services of `machine` together with the fakes of everything else.
inline Platform platformOn(Machine& machine, FakePlatform& fakes) {
    return {.hostStatistics = machine.hostStatistics(),
            .sysctl = machine.sysctl(),
            .networkInterfaces = machine.networkInterfaces(),
            .registry = machine.registry(),
            .ioReport = machine.ioReport(),
            .powerSources = machine.powerSources(),
            .temperatureSensors = machine.temperatureSensors(),
            .userDefaults = fakes.userDefaults,
            .systemSettings = fakes.systemSettings,
            .files = fakes.files,
            .clock = fakes.clock,
            .mainLoop = fakes.loop,
            .dispatch = fakes.loop,
            .listener = fakes.listener,
            .log = fakes.log};
}

}  // namespace zqm
