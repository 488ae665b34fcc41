#pragma once

#include <memory>
#include <string>

#include "Platform/Linux/LinuxMachine.h"
#include "Platform/Platform.h"
#include "Platform/Posix/PosixServices.h"
#include "benchmarks/QuickClock.h"

namespace zqm {

/// The platform of the real program on the Linux machine below `root`, without its waiting.
struct QuickPlatform {
    explicit QuickPlatform(const std::string& root = "/") : machine(root, clock) {}

    /// Lets the time pass that lies between the end of a tick and the next one.
    void finishTick() { clock.sleep(Seconds(1)); }

    QuickClock clock;
    std::unique_ptr<UserServices> user = makeUserServices();
    PosixServices process{*user};
    LinuxMachine machine;
    Platform platform = {machine.services(), process.services(clock)};
    ScopedPlatform current{platform};
};

}  // namespace zqm
