#include "Platform/Posix/CurlHttpClient.h"

#include <cstdlib>

#include <algorithm>
#include <chrono>
#include <deque>
#include <utility>
#include <vector>

#include "Platform/Posix/CurlEnvironment.h"
#include "Platform/Posix/CurlLibrary.h"
#include "Platform/Posix/CurlTransfer.h"
#include "Platform/Posix/PosixProcess.h"
#include "Platform/Posix/Threads.h"
#include "Support/Mutex.h"

namespace zqm {
namespace {

using Completion = std::function<void(HttpReply)>;
using SteadyClock = std::chrono::steady_clock;
using SteadyTime = std::chrono::time_point<SteadyClock, Seconds>;

constexpr std::size_t mostTransfers = 8;
constexpr int longestWait = 1000;  // ms; also bounds the harm where the system gave no descriptors to be woken by

struct Waiting {
    HttpRequest request;
    Completion completion;
    SteadyTime deadline;
};

struct Active {
    std::unique_ptr<CurlTransfer> transfer;
    Completion completion;
};

void fail(const Completion& completion, const std::string& error) {
    completion({error, std::nullopt, {}});
}

}  // namespace

class CurlHttpClient::Session {
public:
    Session(std::string library, Seconds idle) : library_(std::move(library)), idle_(idle) {
        if (const char* file = std::getenv("ZQM_CA_FILE")) authorityFile_ = file;
    }

    ~Session() { stop(); }

    void stop() {
        std::optional<pthread_t> thread;
        {
            MutexLock lock(mutex_);
            isStopping_ = true;
            if (multi_) curl_.multiWakeup(multi_);
            thread = std::exchange(thread_, std::nullopt);
        }
        if (thread) pthread_join(*thread, nullptr);
    }

    void start(HttpRequest request, const Completion& completion) {
        if (const auto refusal = enqueue(std::move(request), completion)) fail(completion, *refusal);
    }

private:
    /// What the thread is to do next.
    struct Step {
        std::vector<Waiting> requests;
        bool isStopping = false;
        bool isLast = false;  // the thread counts as gone
    };

    /// Why the request cannot be served; nullopt when it will be.
    std::optional<std::string> enqueue(HttpRequest request, const Completion& completion) {
        const SteadyTime deadline = SteadyClock::now() + request.timeout;
        MutexLock lock(mutex_);
        if (isStopping_) return "cancelled";
        waiting_.push_back({std::move(request), completion, deadline});
        if (isRunning_) {
            if (multi_) curl_.multiWakeup(multi_);
            return std::nullopt;
        }
        if (thread_) pthread_join(*thread_, nullptr);  // on its last lines, which take no lock
        thread_ = startThread("zqm.urlsession", [this] {
            serve();
            giveBackIdleMemory();
        });
        isRunning_ = thread_.has_value();
        if (isRunning_) return std::nullopt;
        waiting_.clear();
        return "no thread for the request";
    }

    /// `refusal` is what every request gets once there is no way to serve them.
    void serve() {
        const bool isLoaded = curl_.load(library_);
        const std::unique_ptr<CURLM, decltype(&curl_multi_cleanup)> multi(isLoaded ? curl_.multiInit() : nullptr,
                                                                          curl_.multiCleanup);
        std::optional<std::string> refusal;
        if (!multi) refusal = "no way to send requests";
        publish(multi.get());
        std::vector<Active> active;
        SteadyTime idleEnd = SteadyClock::now() + idle_;
        for (;;) {
            Step step = nextStep(active.size(), !refusal, idleEnd);
            if (step.isLast) return;
            if (step.isStopping) refusal = "cancelled";
            if (refusal) {
                while (!active.empty()) finish(multi.get(), active, active.begin(), *refusal);
                for (const Waiting& waiting : step.requests) fail(waiting.completion, *refusal);
                continue;
            }
            for (Waiting& waiting : step.requests) begin(multi.get(), active, std::move(waiting));
            refusal = drive(multi.get(), active);
            if (!active.empty() || !step.requests.empty()) idleEnd = SteadyClock::now() + idle_;
        }
    }

    void publish(CURLM* multi) {
        MutexLock lock(mutex_);
        multi_ = multi;
    }

    /// Takes from the waiting requests those that there is room for and those that have waited too long; all of them
    /// when nothing is served any more.
    Step nextStep(std::size_t activeCount, bool isServing, SteadyTime idleEnd) {
        const SteadyTime now = SteadyClock::now();
        std::size_t room = mostTransfers - activeCount;
        Step step;
        std::deque<Waiting> kept;
        MutexLock lock(mutex_);
        step.isStopping = isStopping_;
        isServing = isServing && !isStopping_;
        step.isLast = waiting_.empty() && activeCount == 0 && (!isServing || now >= idleEnd);
        for (Waiting& waiting : waiting_) {
            const bool isServed = isServing && waiting.deadline > now;
            if (isServed && room == 0) {
                kept.push_back(std::move(waiting));
                continue;
            }
            if (isServed) --room;
            step.requests.push_back(std::move(waiting));
        }
        waiting_ = std::move(kept);
        if (step.isLast) {
            multi_ = nullptr;
            isRunning_ = false;
        }
        return step;
    }

    void begin(CURLM* multi, std::vector<Active>& active, Waiting waiting) {
        const Seconds left = waiting.deadline - SteadyClock::now();
        if (left.count() <= 0) return fail(waiting.completion, CurlTransfer::description(CURLE_OPERATION_TIMEDOUT));
        auto transfer = std::make_unique<CurlTransfer>(curl_, std::move(waiting.request), authorityFile_, left);
        if (transfer->preparation() != CURLE_OK) {
            return waiting.completion(transfer->takeReply(transfer->preparation()));
        }
        const CURLMcode result = curl_.multiAddHandle(multi, transfer->handle());
        if (result != CURLM_OK) return fail(waiting.completion, CurlTransfer::description(CURLE_FAILED_INIT));
        active.push_back({std::move(transfer), std::move(waiting.completion)});
    }

    /// Moves the transfers on and, when none of them ends, waits until one can go on or a request comes. An error of
    /// libcurl's as a whole is returned.
    std::optional<std::string> drive(CURLM* multi, std::vector<Active>& active) {
        int running = 0;
        CURLMcode result = curl_.multiPerform(multi, &running);
        bool hasFinished = false;
        int left = 0;
        while (const CURLMsg* message = curl_.multiInfoRead(multi, &left)) {
            if (message->msg != CURLMSG_DONE) continue;
            const auto ended = std::find_if(active.begin(), active.end(), [&](const Active& candidate) {
                return candidate.transfer->handle() == message->easy_handle;
            });
            if (ended == active.end()) continue;
            finish(multi, active, ended, ended->transfer->takeReply(message->data.result));
            hasFinished = true;
        }
        if (result == CURLM_OK && !hasFinished) {
            const double idle = std::clamp(idle_.count() * 1000, 1.0, double{longestWait});
            result = curl_.multiPoll(multi, nullptr, 0, active.empty() ? static_cast<int>(idle) : longestWait, nullptr);
        }
        if (result != CURLM_OK) return CurlTransfer::description(CURLE_FAILED_INIT);
        return std::nullopt;
    }

    /// The connection is gone before the completion runs.
    void finish(CURLM* multi, std::vector<Active>& active, std::vector<Active>::iterator ended, HttpReply reply) {
        Active taken = std::move(*ended);
        active.erase(ended);
        curl_.multiRemoveHandle(multi, taken.transfer->handle());
        taken.transfer.reset();
        taken.completion(std::move(reply));
    }
    void finish(CURLM* multi, std::vector<Active>& active, std::vector<Active>::iterator ended,
                const std::string& error) {
        finish(multi, active, ended, HttpReply{error, std::nullopt, {}});
    }

    const std::string library_;
    const Seconds idle_;
    std::string authorityFile_;
    CurlLibrary curl_;  // the thread's; others may use it while there is a `multi_`
    Mutex mutex_;
    std::deque<Waiting> waiting_ ZQM_GUARDED_BY(mutex_);
    CURLM* multi_ ZQM_GUARDED_BY(mutex_) = nullptr;  // the thread's, to be woken by
    std::optional<pthread_t> thread_ ZQM_GUARDED_BY(mutex_);
    bool isRunning_ ZQM_GUARDED_BY(mutex_) = false;  // false while `thread_` ends by itself
    bool isStopping_ ZQM_GUARDED_BY(mutex_) = false;
};

CurlHttpClient::CurlHttpClient(std::string library, Seconds idle)
    : session_(std::make_unique<Session>(std::move(library), idle)) {}

CurlHttpClient::~CurlHttpClient() = default;

void CurlHttpClient::start(HttpRequest request, std::function<void(HttpReply)> completion) {
    session_->start(std::move(request), completion);
}

std::vector<std::string> CurlHttpClient::obstacles() {
    return curlEnvironmentObstacles();
}

void CurlHttpClient::stop() {
    session_->stop();
}

}  // namespace zqm
