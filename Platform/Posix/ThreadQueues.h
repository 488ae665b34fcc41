#pragma once

#include <memory>

#include "Platform/Process/Clock.h"
#include "Platform/Process/Dispatch.h"

namespace zqm {

/// Task queues over one elastic pool of threads.
///
/// A thread is made when a queue may run a task and no thread is idle; it ends after `idle` without work, the last one
/// stays parked so that there is always one to fall back on. When the system refuses a thread the task waits for a
/// thread that becomes free, or for the next post. Must outlive its queues; a queue must not be destroyed by one of its
/// own tasks.
class ThreadQueues final : public Dispatch {
public:
    explicit ThreadQueues(Seconds idle = Seconds(10));
    ~ThreadQueues() override;
    std::unique_ptr<TaskQueue> makeQueue(std::string_view label, unsigned width) override;

private:
    class Pool;
    class Queue;
    struct QueueState;
    std::shared_ptr<Pool> pool_;
};

}  // namespace zqm
