#pragma once

#include "Platform/Process/Clock.h"

namespace zqm {

/// The system's clocks.
class PosixClock final : public Clock {
public:
    WallTime wall() override;
    MonotonicTime monotonic() override;
    ContinuousTime continuous() override;
    void sleep(Seconds duration) override;
};

}  // namespace zqm
