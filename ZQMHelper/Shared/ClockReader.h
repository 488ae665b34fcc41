#pragma once

#include "Platform/Process/Clock.h"

namespace zqm {

/// Second boundaries of the wall clock.
struct ClockReader {
    /// From `time` to the start of the next whole second (the following one when `time` is exactly on a second), at
    /// least 0.01 s.
    static Seconds delayToNextSecond(WallTime time);
};

}  // namespace zqm
