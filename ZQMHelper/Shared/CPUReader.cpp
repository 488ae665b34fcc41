#include "ZQMHelper/Shared/CPUReader.h"

#include <algorithm>
#include <iterator>
#include <numeric>

#include "Platform/Apple/HostStatistics.h"
#include "Platform/Apple/Registry.h"
#include "Platform/Apple/Sysctl.h"
#include "Platform/Machine/MachineReadings.h"
#include "Support/CounterRate.h"
#include "Support/Text.h"

namespace zqm {
namespace {

/// Busy share of the time between two readings. A counter that went down counts as standing still, which keeps the
/// share within 0 and 1.
double usage(const ProcessorTicks& previous, const ProcessorTicks& current) {
    const double busy = static_cast<double>(growth(previous.user, current.user)) +
                        static_cast<double>(growth(previous.system, current.system)) +
                        static_cast<double>(growth(previous.nice, current.nice));
    const double total = busy + static_cast<double>(growth(previous.idle, current.idle));
    return total > 0 ? busy / total : 0;
}

CoreKind kindOf(const RegistryEntry& processor) {
    const auto type = processor.property("cluster-type");
    const Bytes* bytes = type ? asBytes(&*type) : nullptr;
    if (!bytes) return CoreKind::unknown;
    const std::string text(bytes->begin(), bytes->end());
    if (text == "E") return CoreKind::efficiency;
    if (text == "P" || text == "M") return CoreKind::performance;
    return CoreKind::unknown;
}

/// Those in the middle are larger than the smallest, which alone are made for efficiency.
CoreKind kindOf(ProcessorKind kind) {
    return kind == ProcessorKind::efficiency ? CoreKind::efficiency : CoreKind::performance;
}

template <class Processors, class KindOf>
std::vector<CoreKind> kindsOf(const Processors& processors, KindOf kind) {
    std::vector<CoreKind> kinds;
    std::transform(processors.begin(), processors.end(), std::back_inserter(kinds), kind);
    return kinds;
}

}  // namespace

std::optional<std::vector<std::unique_ptr<RegistryEntry>>> processorNodes(Registry& registry) {
    const auto services = registry.services("AppleARMPE");
    if (!services || services->empty()) return std::nullopt;
    auto children = services->front()->children();
    if (!children) return std::nullopt;
    std::vector<std::pair<std::int64_t, std::unique_ptr<RegistryEntry>>> numbered;
    for (auto& child : *children) {
        const std::string name = child->name().value_or("");
        if (!name.starts_with("cpu")) continue;
        if (const auto number = parseInteger(std::string_view(name).substr(3))) {
            numbered.emplace_back(*number, std::move(child));
        }
    }
    std::stable_sort(numbered.begin(), numbered.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<std::unique_ptr<RegistryEntry>> nodes;
    for (auto& entry : numbered) nodes.push_back(std::move(entry.second));
    return nodes;
}

CPUReader::CPUReader(Platform& platform) : platform_(platform), coreKinds_(detectCoreKinds(platform)) {}

CPUMetrics CPUReader::sample() {
    CPUMetrics metrics;
    auto ticks = platform_.readings ? platform_.readings->processorTicks() : platform_.hostStatistics.processorTicks();
    if (!ticks) return metrics;
    metrics.perCoreUsage.assign(ticks->size(), 0);
    if (previousTicks_.size() == ticks->size()) {
        std::transform(previousTicks_.begin(), previousTicks_.end(), ticks->begin(), metrics.perCoreUsage.begin(),
                       usage);
    }
    previousTicks_ = std::move(*ticks);
    if (metrics.perCoreUsage.empty()) return metrics;
    const auto count = metrics.perCoreUsage.size();
    metrics.totalUsage =
        std::accumulate(metrics.perCoreUsage.begin(), metrics.perCoreUsage.end(), 0.0) / static_cast<double>(count);
    metrics.coreKinds = coreKinds_.size() == count ? coreKinds_ : std::vector(count, CoreKind::unknown);
    return metrics;
}

std::vector<CoreKind> CPUReader::detectCoreKinds(Platform& platform) {
    if (platform.readings) {
        return kindsOf(platform.readings->processorKinds(), [](ProcessorKind kind) { return kindOf(kind); });
    }
    const auto nodes = processorNodes(platform.registry);
    if (!nodes) return {};
    auto kinds = kindsOf(*nodes, [](const auto& node) { return kindOf(*node); });
    const bool noneKnown =
        std::all_of(kinds.begin(), kinds.end(), [](CoreKind kind) { return kind == CoreKind::unknown; });
    return noneKnown ? perfLevelFallback(platform) : kinds;
}

std::vector<CoreKind> CPUReader::perfLevelFallback(Platform& platform) {
    // More processors of one kind than any machine has: a wrong figure must not cost memory.
    constexpr std::int32_t mostProcessors = 4096;
    std::int32_t efficiency = 0;
    std::int32_t performance = 0;
    for (int level = 0; level <= 3; ++level) {
        const std::string prefix = "hw.perflevel" + std::to_string(level);
        const auto name = sysctlText(platform.sysctl, prefix + ".name");
        if (!name) continue;
        const auto count = sysctlValue<std::int32_t>(platform.sysctl, prefix + ".physicalcpu").value_or(0);
        if (*name == "Efficiency") efficiency = std::clamp(count, 0, mostProcessors);
        if (*name == "Performance") performance = std::clamp(count, 0, mostProcessors);
    }
    std::vector<CoreKind> kinds(static_cast<std::size_t>(efficiency), CoreKind::efficiency);
    kinds.insert(kinds.end(), static_cast<std::size_t>(performance), CoreKind::performance);
    return kinds;
}

}  // namespace zqm
