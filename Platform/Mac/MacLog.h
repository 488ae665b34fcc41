#pragma once

#include "Platform/Posix/PosixLog.h"

namespace zqm {

/// Lines to standard output, and to the system's log, which shows them to `log stream --level debug`. It takes them
/// without waiting: what its buffers cannot hold it drops.
class MacLog final : public Log {
public:
    void print(std::string_view line) override { output_.print(line); }
    void system(std::string_view line) override;

private:
    PosixLog output_;
};

}  // namespace zqm
