#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Process/Clock.h"

namespace zqm {

/// A child process whose standard output is a pipe and whose standard error is thrown away. Destruction reaps the child
/// and closes the pipe; a child that still runs is killed first.
class Child {
public:
    virtual ~Child() = default;
    /// Waits until output is there, the child has ended or `patience` has passed, and takes what is there; nullopt once
    /// the child has ended and everything it wrote has been taken.
    virtual std::optional<std::string> read(Seconds patience) = 0;
    virtual bool isRunning() = 0;
    virtual void terminate() = 0;  // asks (SIGTERM)
    virtual void kill() = 0;       // does not ask (SIGKILL)
};

/// Launches programs. Callable from any thread.
class Commands {
public:
    virtual ~Commands() = default;
    /// Null when the program cannot be started.
    virtual std::unique_ptr<Child> launch(std::string_view path, const std::vector<std::string>& arguments) = 0;
};

}  // namespace zqm
