#pragma once

#include <functional>
#include <memory>
#include <string_view>

namespace zqm {

/// Runs tasks away from the main thread. `post` is callable from any thread; tasks must not throw.
///
/// Destruction drops the tasks that have not begun and waits for those that have.
class TaskQueue {
public:
    virtual ~TaskQueue() = default;
    virtual void post(std::function<void()> task) = 0;
};

/// Where task queues come from. Callable from any thread.
class Dispatch {
public:
    virtual ~Dispatch() = default;
    /// A queue that runs at most `width` tasks at once; with a width of 1 it is serial and keeps the order of posting.
    /// Threads are made on demand and end when idle. `label` names them for whoever looks at the process.
    virtual std::unique_ptr<TaskQueue> makeQueue(std::string_view label, unsigned width) = 0;
};

}  // namespace zqm
