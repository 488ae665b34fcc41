#pragma once

#include <gtest/gtest.h>

#include <stdexcept>

#include "Platform/Described/DescribedMachine.h"
#include "tests/fakes/FakePlatform.h"

namespace zqm {

/// The machine's services of `machine`, the process's of the fakes.
inline Platform platformOn(Machine& machine, FakePlatform& process) {
    return {machine.services(), process.platform};
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
