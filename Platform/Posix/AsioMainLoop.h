#pragma once

#include <memory>

#include "Platform/Process/MainLoop.h"

namespace zqm {

/// The main loop over one Asio context; timers on the monotonic clock. A task that throws ends the process where it
/// throws. After `run` has returned it may be called again; tasks that were not reached wait for that or are destroyed
/// with the loop.
///
/// SIGTERM and SIGINT end `run`, also when they came before it. A process whose loop is not destroyed within `patience`
/// of the first of them, for a task or whatever else hangs, ends then with status 0; the second one ends it at once, by
/// its default action. The process's SIGALRM and real-time timer belong to the loop. One loop at a time.
class AsioMainLoop final : public MainLoop {
public:
    explicit AsioMainLoop(Seconds patience = Seconds(1.9));  // two seconds for whoever watches
    ~AsioMainLoop() override;
    void post(std::function<void()> task) override;
    void postAfter(Seconds delay, std::function<void()> task) override;
    std::unique_ptr<Timer> every(Seconds period, std::function<void()> task) override;
    bool isCurrent() const override;
    void run() override;
    void stop() override;

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace zqm
