#include "ZQMHelper/Shared/GPUReader.h"

#include <algorithm>
#include <utility>

#include "Platform/Apple/Registry.h"
#include "Platform/Machine/MachineReadings.h"
#include "ZQMHelper/Shared/TemperatureBridge.h"

namespace zqm {
namespace {

double utilization(const PropertyDictionary& statistics) {
    auto percent = asNumber(find(statistics, "Device Utilization %"));
    if (!percent) percent = asNumber(find(statistics, "GPU Activity(%)"));
    return percent.value_or(0) / 100;
}

}  // namespace

GPUMetrics GPUReader::sample() {
    GPUMetrics metrics = platform_.readings ? samplePlain() : sampleRegistry();
    metrics.utilization = std::clamp(metrics.utilization, 0.0, 1.0);
    return metrics;
}

/// Of cards that are alike busy the discrete one's temperature counts: the integrated one's is much the processor's.
GPUMetrics GPUReader::samplePlain() {
    GPUMetrics metrics;
    double megahertz = 0;
    std::pair rankOfTemperature(-1.0, false);
    for (const GraphicsReading& card : platform_.readings->graphics()) {
        const double busy = busyShare(card);
        megahertz = std::max(megahertz, card.megahertz.value_or(0));
        mostMegahertz_ = std::max({mostMegahertz_, megahertz, card.mostMegahertz.value_or(0)});
        metrics.utilization = std::max(metrics.utilization, busy);
        const std::pair rank(busy, !card.isIntegrated);
        if (!isPlausibleTemperature(card.celsius.value_or(0)) || rank <= rankOfTemperature) continue;
        rankOfTemperature = rank;
        metrics.temperatureC = *card.celsius;
    }
    metrics.frequencyMHz = megahertz_.update(megahertz);
    metrics.maxFrequencyMHz = mostMegahertz_;
    return metrics;
}

/// Of a card that counts idle time, the busiest part's share between the last two looks at it. A part is busy when it
/// is not idle, which is known once its counter has moved: with the idle states switched off it stands still for ever.
double GPUReader::busyShare(const GraphicsReading& card) {
    if (card.busy) return *card.busy;
    if (card.idleSeconds.empty()) return 0;
    auto& [parts, time, busiest] = previous_[card.name];
    const double seconds = (card.time - std::exchange(time, card.time)).count();
    if (seconds <= 0) return busiest;
    parts.resize(card.idleSeconds.size());
    busiest = 0;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const auto idle = card.idleSeconds[i];
        const auto before = std::exchange(parts[i].idleSeconds, idle);
        if (!idle || !before || *idle < *before) continue;
        parts[i].hasMoved = parts[i].hasMoved || *idle > *before;
        if (parts[i].hasMoved) busiest = std::max(busiest, 1 - (*idle - *before) / seconds);
    }
    return busiest;
}

GPUMetrics GPUReader::sampleRegistry() {
    GPUMetrics metrics;
    const auto services = platform_.registry.services("IOAccelerator");
    if (!services) return metrics;
    for (const auto& service : *services) {
        const auto property = service->property("PerformanceStatistics");
        const PropertyDictionary* statistics = property ? asDictionary(&*property) : nullptr;
        if (!statistics) continue;
        metrics.utilization = std::max(metrics.utilization, utilization(*statistics));
        metrics.frequencyMHz =
            std::max(metrics.frequencyMHz, asNumber(find(*statistics, "Core Clock(MHz)")).value_or(0));
    }
    return metrics;
}

}  // namespace zqm
