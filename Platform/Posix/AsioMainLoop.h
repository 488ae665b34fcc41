#pragma once

#include <memory>

#include "Platform/Process/MainLoop.h"

namespace zqm {

/// The main loop over one Asio context; timers on the monotonic clock. SIGTERM and SIGINT end `run`, also when they
/// came before it. A task that throws ends the process where it throws. After `run` has returned it may be called
/// again; tasks that were not reached wait for that or are destroyed with the loop.
class AsioMainLoop final : public MainLoop {
public:
    AsioMainLoop();
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
