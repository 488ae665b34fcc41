#pragma once

#include <gtest/gtest.h>

#include <stdexcept>

#include "Platform/Described/DescribedMachine.h"
#include "tests/fakes/FakePlatform.h"

namespace zqm {

/// The machine's services of `machine`, the process's of the fakes.
inline Platform platformOn(Machine& machine, FakePlatform& process) {
    return {.hostStatistics = machine.hostStatistics(),
            .sysctl = machine.sysctl(),
            .networkInterfaces = machine.networkInterfaces(),
            .interfaceAddresses = machine.interfaceAddresses(),
            .registry = machine.registry(),
            .ioReport = machine.ioReport(),
            .powerSources = machine.powerSources(),
            .temperatureSensors = machine.temperatureSensors(),
            .taskCounters = machine.taskCounters(),
            .processTable = machine.processTable(),
            .commands = machine.commands() ? *machine.commands() : process.commands,
            .userDefaults = process.userDefaults,
            .systemSettings = process.systemSettings,
            .systemFacts = machine.systemFacts(),
            .httpClient = process.httpClient,
            .files = process.files,
            .clock = process.clock,
            .mainLoop = process.loop,
            .dispatch = process.loop,
            .listener = process.listener,
            .log = process.log};
}

inline std::unique_ptr<DescribedMachine> machineOf(DescribedMachine::Result result) {
    if (const auto* fault = std::get_if<MachineFault>(&result)) throw std::runtime_error(fault->message);
    return std::get<std::unique_ptr<DescribedMachine>>(std::move(result));
}

/// A described machine on virtual time, current for its lifetime. Everything that took handles of the machine must be
/// gone before it.
struct DescribedPlatform {
    explicit DescribedPlatform(const std::string& description)
        : machine(machineOf(DescribedMachine::parse(description, process.clock))) {}
    ~DescribedPlatform() { EXPECT_EQ(machine->liveHandles(), 0u); }
    DescribedPlatform(const DescribedPlatform&) = delete;
    DescribedPlatform& operator=(const DescribedPlatform&) = delete;

    FakePlatform process;
    std::unique_ptr<DescribedMachine> machine;
    Platform platform = platformOn(*machine, process);
    ScopedPlatform current{platform};
};

}  // namespace zqm
