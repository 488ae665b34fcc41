#pragma once

#include "Platform/Process/Clock.h"

namespace zqm {

/// Time that moves only when a test says so. A sleep moves it, and every look where a test lets work take its time.
class VirtualClock final : public Clock {
public:
    WallTime wall() override { return wallTime; }
    MonotonicTime monotonic() override { return monotonicTime += perLook; }
    ContinuousTime continuous() override { return continuousTime; }
    void sleep(Seconds duration) override { advance(duration); }

    void advance(Seconds duration) {
        wallTime += duration;
        monotonicTime += duration;
        continuousTime += duration;
    }

    WallTime wallTime{Seconds(1763327051.25)};
    MonotonicTime monotonicTime{Seconds(1000)};
    ContinuousTime continuousTime{Seconds(5000)};
    Seconds perLook{0};
};

}  // namespace zqm
