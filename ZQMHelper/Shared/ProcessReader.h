#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Machine/ProcessTable.h"
#include "Platform/Platform.h"
#include "Platform/Process/Clock.h"
#include "Platform/Process/Dispatch.h"
#include "Platform/Process/MainLoop.h"
#include "Support/Mutex.h"
#include "ZQMHelper/Shared/GPUReader.h"
#include "ZQMHelper/Shared/ProcessCategory.h"

namespace zqm {

/// Ranks the processes that use the most of each resource, every two seconds, on a queue of its own.
///
/// Where the platform has a native process table it is read; elsewhere "/bin/ps" and "/usr/sbin/lsof" are run.
/// Everything private belongs to the queue; `start` to the main thread, `cached` to anyone. A category keeps its last
/// ranking until a new one has entries. Owned through a shared_ptr: tasks of the main loop hold the reader weakly.
class ProcessReader : public std::enable_shared_from_this<ProcessReader> {
public:
    explicit ProcessReader(Platform& platform = Platform::current());

    /// Samples now and then every two seconds; the firings that find a sample running are made up for by one after it.
    /// Once is enough.
    void start();
    /// Runs on the main thread after each sample.
    void onUpdate(std::function<void()> update) { updated_ = std::move(update); }

    /// The first `count` entries of the latest ranking, largest first; empty before there is one.
    std::vector<TopProcess> cached(ProcessCategory category, std::size_t count) const;

    /// One sample; what the timer runs.
    void tick();
    /// The standard output of a program that may take `timeout`, malformed UTF-8 repaired; nullopt when it cannot be
    /// started. Past its time it is asked to end, half a second later killed; what it had written counts.
    std::optional<std::string> run(std::string_view path, const std::vector<std::string>& arguments, Seconds timeout);

private:
    void scheduleTick();

    using Rows = std::vector<const ProcessRow*>;
    using Ranking = std::vector<TopProcess>;
    using Identity = std::pair<std::int32_t, std::uint64_t>;  // pid and start time

    std::vector<ProcessRow> psSnapshot();
    std::vector<SocketOwner> socketOwners();
    Ranking topCPU(const Rows& busiest);
    Ranking topMemory(const std::vector<ProcessRow>& table);
    Ranking topGPU(const Rows& busiest);
    Ranking topEnergy(const Rows& busiest);
    Ranking topDisk(const Rows& busiest);
    Ranking lsofConnections();
    TopProcess entry(const ProcessRow& row, double value);
    void store(ProcessCategory category, Ranking ranking);

    Platform& platform_;
    GPUReader gpuReader_;
    std::map<Identity, std::uint64_t> previousEnergy_;                          // nanojoules
    std::map<Identity, std::pair<std::uint64_t, std::uint64_t>> previousDisk_;  // bytes read, written
    std::optional<MonotonicTime> previousEnergyTime_;
    std::optional<MonotonicTime> previousDiskTime_;

    mutable Mutex resultsLock_;
    std::map<ProcessCategory, Ranking> lastResults_ ZQM_GUARDED_BY(resultsLock_);

    std::function<void()> updated_;
    std::unique_ptr<Timer> residentTimer_;
    bool ticking_ = false;                  // main thread: a tick is under way
    bool missed_ = false;                   // main thread: the timer fired meanwhile
    std::unique_ptr<TaskQueue> workQueue_;  // last: its destruction waits for the running tick
};

}  // namespace zqm
