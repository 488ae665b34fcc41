#include "ZQMHelper/Shared/ProcessReader.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "Platform/Process/Commands.h"
#include "Support/CounterRate.h"
#include "Support/Text.h"
#include "ZQMHelper/Shared/CommandOutput.h"
#include "ZQMHelper/Shared/LibprocBridge.h"
#include "ZQMHelper/Shared/ProcessRanking.h"
#include "ZQMHelper/Shared/TaskPowerBridge.h"

namespace zqm {
namespace {

constexpr Seconds period(2.0);
constexpr Seconds commandTime(5.0);
constexpr Seconds shortestInterval(0.1);  // bounds the rates after a very short one
constexpr std::size_t candidateLimit = 60;
constexpr std::size_t rankingLength = 10;
constexpr double nanojoulesPerJoule = 1e9;

/// Seconds since the previous reading, which becomes `now`; the first reading has no previous counters to divide by it.
double interval(std::optional<MonotonicTime>& previous, MonotonicTime now) {
    const Seconds passed = previous ? now - *previous : shortestInterval;
    previous = now;
    return std::max(passed, shortestInterval).count();
}

}  // namespace

ProcessReader::ProcessReader(Platform& platform)
    : platform_(platform), gpuReader_(platform), workQueue_(platform.dispatch.makeQueue("zqm.processreader", 1)) {}

void ProcessReader::start() {
    if (residentTimer_) return;
    residentTimer_ = platform_.mainLoop.every(period, [weak = weak_from_this()] {
        if (auto reader = weak.lock()) reader->scheduleTick();
    });
    scheduleTick();
}

void ProcessReader::scheduleTick() {
    missed_ = std::exchange(ticking_, true);
    if (missed_) return;
    // The job may use `this`: the queue, which the reader owns, outlives none of its jobs.
    workQueue_->post([this, weak = weak_from_this(), &loop = platform_.mainLoop] {
        try {
            tick();
        } catch (const std::exception&) {
            // Out of memory: this sample is lost, the next firing tries again.
        }
        loop.post([weak] {
            const auto reader = weak.lock();
            if (!reader) return;
            reader->ticking_ = false;
            if (reader->updated_) reader->updated_();
            if (reader->missed_) reader->scheduleTick();
        });
    });
}

void ProcessReader::tick() {
    const auto table = psSnapshot();
    const Rows busiest = largest(table, candidateLimit, &ProcessRow::cpuPercent);
    const auto energy = topEnergy(busiest);
    const auto gpu = topGPU(busiest);
    store(ProcessCategory::cpu, topCPU(busiest));
    store(ProcessCategory::gpu, gpu);
    store(ProcessCategory::memory, topMemory(table));
    store(ProcessCategory::disk, topDisk(busiest));
    store(ProcessCategory::network, lsofConnections());
    store(ProcessCategory::power, energy);
}

std::vector<ProcessRow> ProcessReader::psSnapshot() {
    if (platform_.processTable) return platform_.processTable->processes().value_or(std::vector<ProcessRow>{});
    return parseProcessRows(run("/bin/ps", {"-Aceo", "pcpu=,pid=,rss=,comm="}, commandTime).value_or(""));
}

std::vector<SocketOwner> ProcessReader::socketOwners() {
    if (platform_.processTable) return platform_.processTable->socketOwners().value_or(std::vector<SocketOwner>{});
    return parseSocketOwners(run("/usr/sbin/lsof", {"-i", "-nP", "+c", "0"}, commandTime).value_or(""));
}

TopProcess ProcessReader::entry(const ProcessRow& row, double value) {
    return {row.pid, platform_.processTable ? platform_.processTable->fullName(row) : row.name, value};
}

ProcessReader::Ranking ProcessReader::topCPU(const Rows& busiest) {
    Ranking ranking;
    for (std::size_t i = 0; i < std::min(busiest.size(), rankingLength); ++i) {
        ranking.push_back(entry(*busiest[i], busiest[i]->cpuPercent));
    }
    return ranking;
}

ProcessReader::Ranking ProcessReader::topMemory(const std::vector<ProcessRow>& table) {
    Ranking ranking;
    for (const ProcessRow* row : largest(table, rankingLength, &ProcessRow::residentBytes)) {
        ProcessTable* const native = platform_.processTable;
        const std::uint64_t bytes = native ? native->exactResidentBytes(*row) : row->residentBytes;
        ranking.push_back(entry(*row, static_cast<double>(bytes)));
    }
    return ranked(std::move(ranking), rankingLength);
}

ProcessReader::Ranking ProcessReader::topGPU(const Rows& busiest) {
    const double utilization = gpuReader_.sample().utilization;
    const std::size_t sharers = std::min(busiest.size(), rankingLength);
    double total = 0;
    for (std::size_t i = 0; i < sharers; ++i) total += busiest[i]->cpuPercent;
    Ranking ranking;
    if (!(total > 0)) return ranking;
    for (std::size_t i = 0; i < sharers; ++i) {
        ranking.push_back(entry(*busiest[i], busiest[i]->cpuPercent / total * utilization));
    }
    return ranked(std::move(ranking), rankingLength);
}

ProcessReader::Ranking ProcessReader::topEnergy(const Rows& busiest) {
    const double seconds = interval(previousEnergyTime_, platform_.clock.monotonic());
    std::map<Identity, std::uint64_t> fresh;
    Ranking ranking;
    for (const ProcessRow* row : busiest) {
        std::uint64_t energy = 0;
        if (ZQMReadTaskPower(platform_.taskCounters, row->pid, &energy, nullptr, nullptr, nullptr, nullptr) != 0)
            continue;
        const Identity identity{row->pid, row->startTime};
        fresh.emplace(identity, energy);
        const auto previous = previousEnergy_.find(identity);
        if (previous == previousEnergy_.end()) continue;
        const auto grown = static_cast<double>(growth(previous->second, energy));
        const double watts = grown / seconds / nanojoulesPerJoule;
        if (watts > 0.001) ranking.push_back(entry(*row, watts));
    }
    previousEnergy_ = std::move(fresh);
    return ranked(std::move(ranking), rankingLength);
}

ProcessReader::Ranking ProcessReader::topDisk(const Rows& busiest) {
    const double seconds = interval(previousDiskTime_, platform_.clock.monotonic());
    std::map<Identity, std::pair<std::uint64_t, std::uint64_t>> fresh;
    Ranking ranking;
    for (const ProcessRow* row : busiest) {
        std::uint64_t read = 0;
        std::uint64_t written = 0;
        if (ZQMReadDiskIO(platform_.taskCounters, row->pid, &read, &written) != 0) continue;
        const Identity identity{row->pid, row->startTime};
        fresh.emplace(identity, std::pair(read, written));
        const auto previous = previousDisk_.find(identity);
        if (previous == previousDisk_.end()) continue;
        const double grown = static_cast<double>(growth(previous->second.first, read)) +
                             static_cast<double>(growth(previous->second.second, written));
        if (grown / seconds > 1.0) ranking.push_back(entry(*row, grown / seconds));
    }
    previousDisk_ = std::move(fresh);
    return ranked(std::move(ranking), rankingLength);
}

ProcessReader::Ranking ProcessReader::lsofConnections() {
    Ranking ranking;
    const auto owners = socketOwners();
    for (const SocketOwner* owner : largest(owners, rankingLength, &SocketOwner::sockets)) {
        const ProcessRow row{.pid = owner->pid, .startTime = owner->startTime, .name = owner->name};
        ranking.push_back(entry(row, static_cast<double>(owner->sockets)));
    }
    return ranking;
}

void ProcessReader::store(ProcessCategory category, Ranking ranking) {
    if (ranking.empty()) return;
    const MutexLock hold(resultsLock_);
    lastResults_[category].swap(ranking);
}

std::vector<TopProcess> ProcessReader::cached(ProcessCategory category, std::size_t count) const {
    const MutexLock hold(resultsLock_);
    const auto found = lastResults_.find(category);
    if (found == lastResults_.end()) return {};
    const Ranking& ranking = found->second;
    return {ranking.begin(), ranking.begin() + static_cast<std::ptrdiff_t>(std::min(count, ranking.size()))};
}

std::optional<std::string> ProcessReader::run(std::string_view path, const std::vector<std::string>& arguments,
                                              Seconds timeout) {
    Commands& commands = platform_.printers ? *platform_.printers : platform_.commands;
    const auto child = commands.launch(path, arguments);
    if (!child) return std::nullopt;
    std::string output;
    // Takes output until the child has ended (true) or the time is over (false).
    const auto drain = [&](Seconds time) {
        const MonotonicTime deadline = platform_.clock.monotonic() + time;
        for (Seconds left = time; left > Seconds(0); left = deadline - platform_.clock.monotonic()) {
            const auto piece = child->read(left);
            if (!piece) return true;
            output += *piece;
        }
        return false;
    };
    if (!drain(timeout)) {
        child->terminate();
        if (!drain(Seconds(0.5))) {
            child->kill();
            drain(Seconds(0.2));
        }
    }
    return repairUtf8(output);
}

}  // namespace zqm
