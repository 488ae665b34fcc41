#pragma once

#include "Platform/Linux/LinuxMachine.h"
#include "tests/fakes/MachinePlatform.h"
#include "tests/fakes/TemporaryTree.h"

namespace zqm {

/// A Linux machine read below a directory, on virtual time, for the readers.
struct RootMachine {
    explicit RootMachine(const std::string& root) : machine(root, fakes.clock) {}

    FakePlatform fakes;
    LinuxMachine machine;
    Platform platform = platformOn(machine, fakes);
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
