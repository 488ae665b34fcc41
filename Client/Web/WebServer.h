#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Client/History/HistoryKeeper.h"
#include "Client/Levels.h"
#include "Client/Requests.h"
#include "Client/SampleFeed.h"
#include "Client/ThisMachine.h"
#include "Client/Web/WebGate.h"
#include "Platform/Process/LoopbackListener.h"
#include "Platform/Process/MainLoop.h"
#include "Support/Mutex.h"
#include "ZQMHelper/Shared/SettingsStore.h"

namespace zqm {

/// Keeps the history and serves the page that shows it.
///
/// The helper is asked once an interval, however many pages are open. A question is answered from what is known then,
/// at once; what the machine tells beside the samples is looked at only while someone asks, on a thread of its own.
/// Main thread only; destruction closes every connection, waits for what is under way and saves the history.
class WebServer {
public:
    struct Sources {
        SampleFeed::Ask ask;
        /// These may block; each is called by one thread at a time.
        std::function<std::optional<MachineFacts>(const SystemSnapshot&)> facts;
        std::function<std::string()> table;  // where the figures come from
    };

    /// `interval` is the helper's between two samples.
    WebServer(Sources sources, HistoryKeeper& history, const SettingsStore& settings, Seconds interval,
              const ServerServices& services);
    ~WebServer();
    WebServer(const WebServer&) = delete;
    WebServer& operator=(const WebServer&) = delete;

    /// Serves on the address, which is the listener's, and asks from the first turn of the main loop on; returns the
    /// error's description, or nullopt when it serves.
    std::optional<std::string> start(WebAccess access);

private:
    void take(HelperAnswer answer);
    void answer(const std::shared_ptr<Connection>& connection, std::string_view request);
    std::string body(const WebQuestion& question);
    const std::string& now() ZQM_REQUIRES(mutex_);
    void lookWhileAsked(const SystemSnapshot& sample) ZQM_REQUIRES(mutex_);
    void answerWithSources(const std::shared_ptr<Connection>& connection);

    const Sources sources_;
    HistoryKeeper& history_;
    const SettingsStore& settings_;
    const Seconds interval_;
    const ServerServices services_;
    WebAccess access_;
    Mutex mutex_;
    std::optional<HelperAnswer> known_ ZQM_GUARDED_BY(mutex_);
    LevelTrail trail_ ZQM_GUARDED_BY(mutex_);
    Levels levels_ ZQM_GUARDED_BY(mutex_);
    std::optional<MachineFacts> facts_ ZQM_GUARDED_BY(mutex_);
    bool isLooking_ ZQM_GUARDED_BY(mutex_) = false;
    std::optional<MonotonicTime> asked_ ZQM_GUARDED_BY(mutex_);
    std::string now_ ZQM_GUARDED_BY(mutex_);  // what is known, once asked for
    std::vector<std::shared_ptr<Connection>> waitForTable_ ZQM_GUARDED_BY(mutex_);
    std::unique_ptr<Timer> saving_;
    std::unique_ptr<TaskQueue> looks_, tables_, saves_;
    SampleFeed feed_;  // last, so that its question ends while the rest is there
};

}  // namespace zqm
