#pragma once

#include <atomic>
#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <unordered_map>

#include "Platform/Process/Clock.h"
#include "Support/Mutex.h"

namespace zqm {

using Json = nlohmann::ordered_json;

/// What the services of one described machine share. The description has been checked and never changes, so its nodes
/// are safe to read from any thread and to point at.
struct MachineModel {
    MachineModel(const Json& checked, Clock& clockOfMachine)
        : description(checked), clock(clockOfMachine), begin(clock.monotonic()) {}

    /// The position that a `{"list": …}` has reached for this reading; the next reading gets the one after it.
    std::size_t takePosition(const Json& list) {
        const MutexLock lock(mutex);
        return positions[&list]++;
    }

    const Json& description;
    Clock& clock;
    const MonotonicTime begin;
    std::atomic<std::size_t> liveHandles{0};

private:
    Mutex mutex;
    std::unordered_map<const Json*, std::size_t> positions ZQM_GUARDED_BY(mutex);
};

/// Counts its owner as a handle that has not been given back yet.
class CountedHandle {
public:
    explicit CountedHandle(MachineModel& model) : model_(model) { ++model_.liveHandles; }
    ~CountedHandle() { --model_.liveHandles; }
    CountedHandle(const CountedHandle&) = delete;
    CountedHandle& operator=(const CountedHandle&) = delete;

private:
    MachineModel& model_;
};

}  // namespace zqm
