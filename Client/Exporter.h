#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Client/Exposition.h"
#include "Client/ListenAddress.h"
#include "Client/Requests.h"
#include "Client/SampleFeed.h"
#include "Support/Mutex.h"

namespace zqm {

class Connection;
class Dispatch;
class Listener;
class Log;
class MainLoop;
class TaskQueue;

/// Serves the exposition over HTTP: "/metrics", a page about it at "/", else 404.
///
/// On a loopback address it answers to numeric addresses and "localhost" alone: a web site that binds its own name to
/// 127.0.0.1 would otherwise read the figures through the user's browser.
///
/// A scrape is answered from what is known then, at once: neither a helper that is silent nor a device that hangs nor a
/// thousand scrapes hold up anything. Only the scrapes that come before the first answer wait for it. Main thread only;
/// destruction closes every connection and waits for a question that is under way.
class Exporter {
public:
    struct Sources {
        SampleFeed::Ask ask;
        /// May block; called by one thread at a time.
        std::function<std::optional<MachineFigures>(const SystemSnapshot&)> look;
    };

    /// `interval` is the helper's between two samples.
    Exporter(Sources sources, Seconds interval, const ServerServices& services);
    ~Exporter();
    Exporter(const Exporter&) = delete;
    Exporter& operator=(const Exporter&) = delete;

    /// Serves on `address`, which is the listener's, and asks from the first turn of the main loop on; returns the
    /// error's description, or nullopt when it serves.
    std::optional<std::string> start(const ListenAddress& address);

private:
    struct Scrape {
        std::shared_ptr<Connection> connection;
        MetricsFormat format = MetricsFormat::text;
        bool isHead = false;
    };
    void answer(const std::shared_ptr<Connection>& connection, std::string_view request);
    void answer(const Scrape& scrape) ZQM_REQUIRES(mutex_);
    void take(HelperAnswer answer);
    void look(const SystemSnapshot& sample);

    const Sources sources_;
    const Seconds interval_;
    const ServerServices services_;
    bool refusesNames_ = false;
    Mutex mutex_;
    std::optional<HelperAnswer> known_ ZQM_GUARDED_BY(mutex_);
    std::optional<MachineFigures> machine_ ZQM_GUARDED_BY(mutex_);
    MonotonicTime machineAt_ ZQM_GUARDED_BY(mutex_){};
    bool isLooking_ ZQM_GUARDED_BY(mutex_) = false;
    SampleCounters counters_ ZQM_GUARDED_BY(mutex_);
    ProgramNames names_ ZQM_GUARDED_BY(mutex_);
    std::array<std::string, 2> texts_ ZQM_GUARDED_BY(mutex_);  // of what is known, by format, once asked for
    std::vector<Scrape> scrapes_ ZQM_GUARDED_BY(mutex_);       // that wait for the first answer
    std::unique_ptr<TaskQueue> looks_;
    SampleFeed feed_;  // last, so that its question ends while the rest is there
};

}  // namespace zqm
