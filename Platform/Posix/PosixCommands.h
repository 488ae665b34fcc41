#pragma once

#include "Platform/Process/Commands.h"

namespace zqm {

/// Children started with posix_spawn, which does not copy this process's memory.
///
/// A child gets nothing to read, no descriptor but the standard three, no blocked signal and the default answer to a
/// broken pipe. It keeps this process's environment and working directory. A `Child` belongs to one thread at a time;
/// dropping it waits for a killed child to be gone, which takes as long as the system call that the child is in.
class PosixCommands final : public Commands {
public:
    std::unique_ptr<Child> launch(std::string_view path, const std::vector<std::string>& arguments) override;
};

}  // namespace zqm
