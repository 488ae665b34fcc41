#include "Platform/Posix/ThreadQueues.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Posix/Threads.h"
#include "Support/Mutex.h"

namespace zqm {

/// Guarded by the pool's lock.
struct ThreadQueues::QueueState {
    std::string label;
    unsigned width;
    unsigned active = 0;  // tasks that run plus places in the pool's `ready_`
    std::deque<std::function<void()>> tasks;
    std::condition_variable_any quiet{};  // signalled when `active` falls to 0
};

class ThreadQueues::Pool : public std::enable_shared_from_this<Pool> {
public:
    explicit Pool(Seconds idle) : idle_(std::chrono::duration_cast<std::chrono::nanoseconds>(idle)) {}

    void post(const std::shared_ptr<QueueState>& queue, std::function<void()> task) {
        MutexLock lock(mutex_);
        queue->tasks.push_back(std::move(task));
        if (queue->active < queue->width) makeReady(queue);
        summonThreads();
    }

    /// Drops what has not begun and waits for what has.
    void close(const std::shared_ptr<QueueState>& queue) {
        std::deque<std::function<void()>> dropped;  // destroyed after the lock is given back: a task may own anything
        MutexLock lock(mutex_);
        dropped.swap(queue->tasks);
        queue->active -= static_cast<unsigned>(std::erase(ready_, queue));
        while (queue->active > 0) queue->quiet.wait(mutex_);
    }

    void end() {
        MutexLock lock(mutex_);
        ending_ = true;
        for (Idler* idler : sleepers_) idler->wake();
        sleepers_.clear();
        while (threads_ > 0) ended_.wait(mutex_);
    }

private:
    /// A thread without work. Each has a signal of its own so that the one that slept last is woken first and the
    /// others reach their time limit.
    struct Idler {
        std::condition_variable_any signal;
        bool woken = false;
        void wake() {
            woken = true;
            signal.notify_one();
        }
    };

    void makeReady(const std::shared_ptr<QueueState>& queue) ZQM_REQUIRES(mutex_) {
        ++queue->active;
        ready_.push_back(queue);
    }

    /// One thread on its way for each ready place, as far as the system gives them.
    void summonThreads() ZQM_REQUIRES(mutex_) {
        while (ready_.size() > coming_) {
            if (!sleepers_.empty()) {
                sleepers_.back()->wake();
                sleepers_.pop_back();
            } else {
                auto thread = startThread("zqm.idle", [self = shared_from_this()] { self->work(); });
                if (!thread) return;
                pthread_detach(*thread);
                ++threads_;
            }
            ++coming_;
        }
    }

    void work() {
        std::string name;
        MutexLock lock(mutex_);
        do {
            --coming_;
            while (!ready_.empty()) {
                const auto queue = ready_.front();
                ready_.pop_front();
                runOne(*queue, name);
                if (!queue->tasks.empty()) {
                    ready_.push_back(queue);  // keeps its place, behind the other queues
                } else if (--queue->active == 0) {
                    queue->quiet.notify_all();
                }
            }
        } while (!ending_ && sleep());
        --threads_;
        ended_.notify_all();
    }

    /// Tasks must not throw: one that does ends the process here.
    void runOne(QueueState& queue, std::string& name) noexcept ZQM_REQUIRES(mutex_) {
        if (queue.tasks.empty()) return;
        auto task = std::move(queue.tasks.front());
        queue.tasks.pop_front();
        mutex_.unlock();
        if (name != queue.label) {
            name = queue.label;
            nameThisThread(name);
        }
        task();
        task = nullptr;  // what it owns goes before the queue counts as quiet
        mutex_.lock();
    }

    /// True when there is work, false when this thread is one too many.
    bool sleep() ZQM_REQUIRES(mutex_) {
        Idler idler;
        sleepers_.push_back(&idler);
        const auto deadline = std::chrono::steady_clock::now() + idle_;
        while (!idler.woken) {
            const bool timedOut = idler.signal.wait_until(mutex_, deadline) == std::cv_status::timeout;
            if (!timedOut || idler.woken) continue;
            if (threads_ > 1) {
                std::erase(sleepers_, &idler);
                return false;
            }
            while (!idler.woken) idler.signal.wait(mutex_);
        }
        return !ending_;
    }

    const std::chrono::nanoseconds idle_;
    Mutex mutex_;
    std::deque<std::shared_ptr<QueueState>> ready_ ZQM_GUARDED_BY(mutex_);  // one place per task that may run now
    std::vector<Idler*> sleepers_ ZQM_GUARDED_BY(mutex_);                   // the one that slept last at the back
    std::size_t threads_ ZQM_GUARDED_BY(mutex_) = 0;
    std::size_t coming_ ZQM_GUARDED_BY(mutex_) = 0;  // threads started or woken that have not looked at `ready_` yet
    bool ending_ ZQM_GUARDED_BY(mutex_) = false;
    std::condition_variable_any ended_;
};

class ThreadQueues::Queue final : public TaskQueue {
public:
    Queue(std::shared_ptr<Pool> pool, std::string_view label, unsigned width)
        : pool_(std::move(pool)), state_(std::make_shared<QueueState>()) {
        state_->label = label;
        state_->width = std::max(width, 1u);
    }
    ~Queue() override { pool_->close(state_); }
    void post(std::function<void()> task) override { pool_->post(state_, std::move(task)); }

private:
    std::shared_ptr<Pool> pool_;
    std::shared_ptr<QueueState> state_;
};

ThreadQueues::ThreadQueues(Seconds idle) : pool_(std::make_shared<Pool>(idle)) {}

ThreadQueues::~ThreadQueues() {
    pool_->end();
}

std::unique_ptr<TaskQueue> ThreadQueues::makeQueue(std::string_view label, unsigned width) {
    return std::make_unique<Queue>(pool_, label, width);
}

}  // namespace zqm
