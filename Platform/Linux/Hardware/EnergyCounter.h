#pragma once

#include <cstdint>
#include <optional>
#include <utility>

#include "Platform/Linux/Kernel/KernelFile.h"
#include "Platform/Process/Clock.h"

namespace zqm {

/// An energy counter in µJ (of RAPL, of a graphics card) as one that only grows. One thread at a time.
class EnergyCounter {
public:
    /// The counter starts again from 0 at `range` µJ; 0: not known.
    explicit EnergyCounter(KernelFile file, std::uint64_t range = 0) : file_(std::move(file)), range_(range) {}

    /// The growth since the last reading, µJ; 0 on the first, when the counter cannot be read, when it started anew,
    /// and when it leapt further than power can explain.
    std::uint64_t read(MonotonicTime now);
    /// Lets the next reading be the first again.
    void restart() { last_.reset(); }
    /// Whether it stood above 0 when it was read last.
    bool isCounting() const { return last_.value_or(0) > 0; }
    const KernelFile& file() const { return file_; }

private:
    KernelFile file_;
    std::uint64_t range_;
    std::optional<std::uint64_t> last_;
    MonotonicTime lastTime_{};
};

/// Counts what grew, up to what a signed number holds.
void grow(std::uint64_t& total, std::uint64_t growth);

}  // namespace zqm
