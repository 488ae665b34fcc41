#pragma once

#include <chrono>

namespace zqm {

using Seconds = std::chrono::duration<double>;

/// Instants of the three clocks. They do not mix: subtracting one clock's instant from another's does not compile.
struct WallClockTag;
struct MonotonicClockTag;
struct ContinuousClockTag;
using WallTime = std::chrono::time_point<WallClockTag, Seconds>;              // since 1970-01-01 00:00:00 UTC
using MonotonicTime = std::chrono::time_point<MonotonicClockTag, Seconds>;    // stands still while the machine sleeps
using ContinuousTime = std::chrono::time_point<ContinuousClockTag, Seconds>;  // goes on while the machine sleeps

/// The three clocks and a wait. Callable from any thread; never fails.
///
/// Intervals between counters are taken on the monotonic clock, ages of cached facts on the continuous one, and only
/// times that are written out come from the wall clock, which the user or the network may set at any moment.
class Clock {
public:
    virtual ~Clock() = default;
    virtual WallTime wall() = 0;
    virtual MonotonicTime monotonic() = 0;
    virtual ContinuousTime continuous() = 0;
    /// Blocks the calling thread, never the main thread.
    virtual void sleep(Seconds duration) = 0;
};

}  // namespace zqm
