#include "Client/ThisMachine.h"

#include <algorithm>
#include <thread>

#include "Platform/Machine/SystemFacts.h"
#include "Support/CounterRate.h"
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

double rate(std::uint64_t before, std::uint64_t now, double seconds) {
    return static_cast<double>(growth(before, now)) / seconds;
}

/// For each of `now` that was there before; `in` and `out` are its counters.
template <class Reading>
std::vector<TransferRate> rates(const std::vector<Reading>& before, const std::vector<Reading>& now, double seconds,
                                std::uint64_t Reading::*in, std::uint64_t Reading::*out) {
    std::vector<TransferRate> rates;
    for (const Reading& reading : now) {
        const auto old = std::find_if(before.begin(), before.end(),
                                      [&](const Reading& other) { return other.name == reading.name; });
        if (old == before.end()) continue;
        rates.push_back(
            {reading.name, rate((*old).*in, reading.*in, seconds), rate((*old).*out, reading.*out, seconds)});
    }
    return rates;
}

}  // namespace

MachineDetails* ThisMachine::detailsBeside(const SystemSnapshot& sample) {
    MachineDetails* const details = machine_->details();
    const auto size = details ? details->size() : std::nullopt;
    const bool isThis =
        size && size->memory == sample.memory.totalBytes && size->processors == sample.cpu.perCoreUsage.size();
    return isThis ? details : nullptr;
}

std::optional<MachineFacts> ThisMachine::factsBeside(const SystemSnapshot& sample) {
    MachineDetails* const details = detailsBeside(sample);
    if (!details) return std::nullopt;
    const auto& [system, model, processor] = names();
    MachineFacts facts{.system = system,
                       .model = model,
                       .processor = processor,
                       .uptime = details->uptime(),
                       .loadAverages = details->loadAverages(),
                       .fileSystems = details->fileSystems()};
    addRates(facts, *details);
    return facts;
}

const ThisMachine::Names& ThisMachine::names() {
    if (!names_) {
        SystemFacts& facts = machine_->services().systemFacts;
        names_ = {facts.systemVersion(), facts.hardwareModel().value_or(""), facts.processorName().value_or("")};
    }
    return *names_;
}

void ThisMachine::addRates(MachineFacts& facts, MachineDetails& details) {
    constexpr double shortestInterval = 0.1;
    Transfers now{details.drives(), details.interfaces(), std::chrono::steady_clock::now()};
    if (transfers_) {
        const double seconds = std::max(Seconds(now.time - transfers_->time).count(), shortestInterval);
        facts.drives = rates(transfers_->drives, now.drives, seconds, &DriveReading::read, &DriveReading::written);
        facts.interfaces = rates(transfers_->interfaces, now.interfaces, seconds, &InterfaceReading::received,
                                 &InterfaceReading::sent);
    }
    transfers_ = std::move(now);
}

std::optional<MachineFacts> ThisMachine::allFactsBeside(const SystemSnapshot& sample) {
    if (!factsBeside(sample)) return std::nullopt;
    std::this_thread::sleep_for(Seconds(1));
    auto facts = factsBeside(sample);
    if (!facts) return facts;
    facts->temperatures = machine_->details()->temperatures();
    facts->fans = machine_->details()->fans();
    return facts;
}

void ThisMachine::dropEnded(SnapshotReply& reply) {
    MachineDetails* const details = detailsBeside(reply.snapshot);
    if (!details) return;
    for (std::vector<TopProcess>& ranking : reply.processes) {
        std::erase_if(ranking, [details](const TopProcess& process) { return !details->isRunning(process.pid); });
    }
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
