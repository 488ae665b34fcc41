#include "Client/ThisMachine.h"

#include <algorithm>

#include "Platform/Machine/MachineReadings.h"
#include "ZQMHelper/Shared/ProcessRanking.h"

namespace zqm {
namespace {

/// The share of its busiest engine that a process used between two looks.
double share(const std::vector<EngineUse>& before, const std::vector<EngineUse>& now) {
    double most = 0;
    for (const EngineUse& use : now) {
        const auto old = std::find_if(before.begin(), before.end(),
                                      [&](const EngineUse& other) { return other.engine == use.engine; });
        // A client that was closed took its count with it.
        if (old == before.end() || use.passed <= old->passed || use.busy < old->busy) continue;
        most = std::max(most, (use.busy - old->busy) / (use.passed - old->passed));
    }
    return std::min(most, 1.0);
}

}  // namespace

MachineDetails* ThisMachine::detailsBeside(const SystemSnapshot& sample) {
    MachineReadings* const readings = machine_->services().readings;
    if (!readings) return nullptr;
    const auto memory = readings->memory();
    const auto ticks = readings->processorTicks();
    const bool isThis =
        memory && memory->total == sample.memory.totalBytes && ticks && ticks->size() == sample.cpu.perCoreUsage.size();
    return isThis ? machine_->details() : nullptr;
}

std::optional<std::vector<TopProcess>> GraphicsRanking::look(MachineDetails& details) {
    constexpr std::size_t length = 10;
    std::map<Identity, std::vector<EngineUse>> fresh;
    std::vector<TopProcess> ranking;
    for (GraphicsUser& user : details.graphicsUsers()) {
        const Identity identity{user.pid, user.startTime};
        const auto before = previous_.find(identity);
        const double used = before == previous_.end() ? 0 : share(before->second, user.engines);
        if (used > 0) ranking.push_back({user.pid, std::move(user.name), used});
        fresh.emplace(identity, std::move(user.engines));
    }
    const bool isFirst = previous_.empty();
    previous_ = std::move(fresh);
    return isFirst || previous_.empty() ? std::nullopt : std::optional(ranked(std::move(ranking), length));
}

}  // namespace zqm
