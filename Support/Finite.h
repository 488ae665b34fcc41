#pragma once

#include <cmath>

namespace zqm {

/// The number, or 0 when it is not finite: one source's absurd figure must not cost the whole snapshot.
inline double finite(double number) {
    return std::isfinite(number) ? number : 0;
}

}  // namespace zqm
