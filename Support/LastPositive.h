#pragma once

namespace zqm {

/// A figure that keeps its last positive value while its source is idle.
class LastPositive {
public:
    /// The value when it is positive, which is then remembered; else what was remembered, at first 0.
    double update(double value) {
        if (value > 0) last_ = value;
        return last_;
    }

private:
    double last_ = 0;
};

}  // namespace zqm
