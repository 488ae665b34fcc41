#pragma once

#include <deque>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <utility>

#include "Platform/Process/Dispatch.h"
#include "Platform/Process/MainLoop.h"
#include "tests/fakes/VirtualClock.h"

namespace zqm {

/// A main loop and background queues on virtual time, all on the test's thread. Background tasks run as soon as the
/// loop is idle, unless they are held back: a held task is a sample that takes its time.
class VirtualLoop final : public MainLoop, public Dispatch {
public:
    explicit VirtualLoop(VirtualClock& clock) : clock_(clock) {}

    void post(std::function<void()> task) override { postAfter(Seconds(0), std::move(task)); }
    void postAfter(Seconds delay, std::function<void()> task) override {
        tasks_.emplace(clock_.monotonicTime + delay, std::move(task));
    }
    std::unique_ptr<Timer> every(Seconds period, std::function<void()> task) override {
        lastPeriod = period;
        auto timer = std::make_unique<VirtualTimer>();
        repeat(period, std::move(task), timer->alive);
        return timer;
    }
    bool isCurrent() const override { return true; }
    void run() override { runFor(Seconds(0)); }
    void stop() override { tasks_.clear(); }

    std::unique_ptr<TaskQueue> makeQueue(std::string_view, unsigned) override {
        return std::make_unique<VirtualQueue>(background_);
    }

    /// Runs everything that is due within `duration` and leaves the clock at its end.
    void runFor(Seconds duration) {
        const MonotonicTime end = clock_.monotonicTime + duration;
        runBackground();
        while (!tasks_.empty() && tasks_.begin()->first <= end) {
            auto node = tasks_.extract(tasks_.begin());
            if (node.key() > clock_.monotonicTime) clock_.advance(node.key() - clock_.monotonicTime);
            node.mapped()();
            runBackground();
        }
        if (end > clock_.monotonicTime) clock_.advance(end - clock_.monotonicTime);
    }

    bool holdBackground = false;
    Seconds lastPeriod{0};

private:
    struct VirtualTimer final : Timer {
        ~VirtualTimer() override { *alive = false; }
        std::shared_ptr<bool> alive = std::make_shared<bool>(true);
    };
    using Tasks = std::deque<std::pair<const void*, std::function<void()>>>;
    struct VirtualQueue final : TaskQueue {
        explicit VirtualQueue(Tasks& queue) : tasks(queue) {}
        ~VirtualQueue() override {
            std::erase_if(tasks, [this](const auto& task) { return task.first == this; });
        }
        void post(std::function<void()> task) override { tasks.emplace_back(this, std::move(task)); }
        Tasks& tasks;
    };

    void repeat(Seconds period, std::function<void()> task, std::shared_ptr<bool> alive) {
        postAfter(period, [=, this] {
            if (!*alive) return;
            repeat(period, task, alive);
            task();
        });
    }
    void runBackground() {
        while (!holdBackground && !background_.empty()) {
            auto task = std::move(background_.front().second);
            background_.pop_front();
            task();
        }
    }

    VirtualClock& clock_;
    std::multimap<MonotonicTime, std::function<void()>> tasks_;
    Tasks background_;
};

}  // namespace zqm
