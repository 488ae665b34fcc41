#include "Client/SampleCounters.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace zqm {
namespace {

void add(double& sum, double perSecond, Seconds span) {
    const double more = sum + std::max(perSecond, 0.0) * span.count();
    if (std::isfinite(more)) sum = more;
}

}  // namespace

void SampleCounters::count(const SystemSnapshot& sample, MonotonicTime now) {
    if (last_ && last_->timestamp == sample.timestamp) return;
    const auto before = std::exchange(last_, Seen{sample.timestamp, now});
    busySeconds_.resize(std::max(busySeconds_.size(), sample.cpu.perCoreUsage.size()));
    if (!before) return;
    const Seconds span = now - before->at;
    if (span > 3 * std::max(interval_, Seconds(1))) return;
    for (std::size_t i = 0; i < summedFigures.size(); ++i) add(sums_[i], summedFigures[i].perSecond(sample), span);
    for (std::size_t i = 0; i < sample.cpu.perCoreUsage.size(); ++i) {
        add(busySeconds_[i], std::min(sample.cpu.perCoreUsage[i], 1.0), span);
    }
}

bool SampleCounters::hasCounted(std::string_view field) const {
    for (std::size_t i = 0; i < summedFigures.size(); ++i) {
        if (summedFigures[i].field == field) return sums_[i] > 0;
    }
    return false;
}

}  // namespace zqm
