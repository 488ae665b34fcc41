#include "ZQMHelper/Shared/GPUReader.h"

#include <algorithm>

#include "Platform/Apple/Registry.h"

namespace zqm {
namespace {

double utilization(const PropertyDictionary& statistics) {
    auto percent = asNumber(find(statistics, "Device Utilization %"));
    if (!percent) percent = asNumber(find(statistics, "GPU Activity(%)"));
    return percent.value_or(0) / 100;
}

}  // namespace

GPUMetrics GPUReader::sample() const {
    GPUMetrics metrics;
    const auto services = registry_.services("IOAccelerator");
    if (!services) return metrics;
    for (const auto& service : *services) {
        const auto property = service->property("PerformanceStatistics");
        const PropertyDictionary* statistics = property ? asDictionary(&*property) : nullptr;
        if (!statistics) continue;
        metrics.utilization = std::max(metrics.utilization, utilization(*statistics));
        metrics.frequencyMHz =
            std::max(metrics.frequencyMHz, asNumber(find(*statistics, "Core Clock(MHz)")).value_or(0));
    }
    metrics.utilization = std::min(metrics.utilization, 1.0);
    return metrics;
}

}  // namespace zqm
