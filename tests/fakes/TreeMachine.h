#pragma once

#include "Platform/Linux/LinuxPlatform.h"
#include "tests/fakes/FakePlatform.h"
#include "tests/fakes/TemporaryTree.h"

namespace zqm {

/// A Linux machine read below a directory, on virtual time, for the readers.
struct RootMachine {
    explicit RootMachine(const std::string& root) : machine(root, fakes.clock) {}

    FakePlatform fakes;
    LinuxMachine machine;
    Platform platform{.hostStatistics = machine.hostStatistics(),
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
};

struct TreeOwner {
    TemporaryTree tree;
};

/// The same on a tree of its own.
struct TreeMachine : TreeOwner, RootMachine {
    TreeMachine() : RootMachine(tree.root()) {}

    /// Writes files below `directory`, each with a line feed at its end.
    void write(const std::string& directory, std::initializer_list<std::pair<const char*, const char*>> files) const {
        for (const auto& [name, content] : files) tree.write(directory + "/" + name, std::string(content) + "\n");
    }
};

}  // namespace zqm
