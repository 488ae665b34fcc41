#pragma once

#include <optional>

#include "Platform/Process/Clock.h"

namespace zqm {

/// Says when something that is done now and then is due: at first, and whenever the period has passed since.
class Cadence {
public:
    explicit Cadence(Seconds period) : period_(period) {}

    bool isDue(MonotonicTime now) {
        if (last_ && now - *last_ < period_) return false;
        last_ = now;
        return true;
    }

private:
    Seconds period_;
    std::optional<MonotonicTime> last_;
};

}  // namespace zqm
