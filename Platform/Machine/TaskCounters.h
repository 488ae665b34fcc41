#pragma once

#include <cstdint>
#include <memory>
#include <optional>

namespace zqm {

/// Cumulative power counters of one process.
struct TaskPower {
    std::uint64_t energy = 0;            // nanojoules; 0 where the platform keeps none
    std::uint64_t gpuTime = 0;           // the platform's units
    std::uint64_t userTime = 0;          // the platform's units
    std::uint64_t systemTime = 0;        // the platform's units
    std::uint64_t interruptWakeups = 0;  // count
};

/// Cumulative bytes that one process has read from and written to storage.
struct TaskDisk {
    std::uint64_t bytesRead = 0;
    std::uint64_t bytesWritten = 0;
};

/// A right to ask about one process. Destruction gives it back.
class TaskName {
public:
    virtual ~TaskName() = default;
    virtual std::optional<TaskPower> power() const = 0;  // nullopt when the query fails
};

/// Counters of single processes. Called from one thread at a time, the one that reads the ProcessTable where there is
/// one: an implementation may answer from its latest reading.
class TaskCounters {
public:
    virtual ~TaskCounters() = default;
    /// Null when the process is gone or may not be asked about.
    virtual std::unique_ptr<TaskName> taskName(std::int32_t pid) = 0;
    virtual std::optional<TaskDisk> disk(std::int32_t pid) = 0;
};

}  // namespace zqm
