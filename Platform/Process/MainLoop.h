#pragma once

#include <functional>
#include <memory>

#include "Platform/Process/Clock.h"

namespace zqm {

/// A repeating timer; destroying it (main thread) cancels it.
class Timer {
public:
    virtual ~Timer() = default;
};

/// The event loop that serialises all work of the main thread.
///
/// `post` and `postAfter` are callable from any thread and also before `run`; posted tasks run in the order of posting.
/// Tasks run on the main thread only and must not throw.
class MainLoop {
public:
    virtual ~MainLoop() = default;
    virtual void post(std::function<void()> task) = 0;
    virtual void postAfter(Seconds delay, std::function<void()> task) = 0;
    /// Runs `task` each `period`, the first time one period from now; firings that were missed (a late thread, a sleep)
    /// merge into one and the cadence is kept. A period outside [1 ms, 1 year] is taken as the nearer bound.
    /// Main thread only.
    virtual std::unique_ptr<Timer> every(Seconds period, std::function<void()> task) = 0;
    /// Whether the caller is on the main thread, which is the thread that created the loop.
    virtual bool isCurrent() const = 0;
    /// Runs tasks until `stop`, or until the system asks the process to end (SIGTERM, SIGINT).
    virtual void run() = 0;
    /// Makes `run` return soon. Any thread.
    virtual void stop() = 0;
};

}  // namespace zqm
