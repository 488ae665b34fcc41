#pragma once

#include <string_view>

namespace zqm {

/// The two places where the process says something. Callable from any thread; never blocks and never fails: a line that
/// its reader does not take at once is dropped.
class Log {
public:
    virtual ~Log() = default;
    /// One line (without its line feed) to standard output.
    virtual void print(std::string_view line) = 0;
    /// One line to the system log.
    virtual void system(std::string_view line) = 0;
};

}  // namespace zqm
