#pragma once

#include <functional>
#include <memory>
#include <string>

#include "Client/HelperClient.h"

namespace zqm {

class Clock;
class Dispatch;
class Log;
class MainLoop;
class TaskQueue;

/// Asks the helper once an interval for as long as the process runs, one question at a time, half an interval after
/// each sample: so none is missed and none seen twice. Says on the log when the helper stops answering, and when it
/// answers again. Destruction waits for a question that is under way.
class SampleFeed {
public:
    struct Services {
        Dispatch& dispatch;
        MainLoop& mainLoop;
        Log& log;
        Clock& clock;
    };
    using Ask = std::function<HelperAnswer()>;       // may block for a bounded time
    using Take = std::function<void(HelperAnswer)>;  // both are called by one thread at a time, not the main thread

    /// `interval` is the helper's between two samples.
    SampleFeed(Ask ask, Take take, Seconds interval, const Services& services);
    ~SampleFeed();
    SampleFeed(const SampleFeed&) = delete;
    SampleFeed& operator=(const SampleFeed&) = delete;

    /// Asks from the first turn of the main loop on. Main thread.
    void start();

private:
    void question();
    Seconds untilNextQuestion(const HelperAnswer& answer) const;
    void noteProblem(const HelperAnswer& answer);

    const Ask ask_;
    const Take take_;
    const Seconds interval_;
    const Services services_;
    std::string problem_;  // of the last question; touched by the queue's task alone
    std::unique_ptr<TaskQueue> questions_;
};

}  // namespace zqm
