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
#include "Support/Mutex.h"

namespace zqm {

class Connection;
class Dispatch;
class Listener;
class Log;
class MainLoop;
class TaskQueue;

/// "127.0.0.1:9932" or "[::1]:9932" taken apart; port 0 lets the system choose one.
struct ListenAddress {
    std::string host;
    std::uint16_t port = 0;
    bool isLoopback() const { return host.starts_with("127.") || host == "::1"; }
    std::string text() const;
};
std::optional<ListenAddress> parseListenAddress(std::string_view text);

/// What is wrong with an address to listen on, and what would be right; empty when it is one.
std::string listenAddressFault(std::string_view text);

/// Serves the exposition over HTTP: "/metrics", a page about it at "/", else 404.
///
/// On a loopback address it answers to numeric addresses and "localhost" alone: a web site that binds its own name to
/// 127.0.0.1 would otherwise read the figures through the user's browser.
///
/// The helper is asked once an interval, by one question at a time, half an interval after each sample; a scrape is
/// answered from what is known then, at once: neither a helper that is silent nor a device that hangs nor a thousand
/// scrapes hold up anything. Only the scrapes that come before the first answer wait for it. Main thread only;
/// destruction closes every connection and waits for a question that is under way.
class Exporter {
public:
    struct Services {
        Listener& listener;
        Dispatch& dispatch;
        MainLoop& mainLoop;
        Log& log;
        Clock& clock;
    };
    struct Sources {
        /// Both may block, `ask` for a bounded time; each is called by one thread at a time.
        std::function<HelperAnswer()> ask;
        std::function<std::optional<MachineFigures>(const SystemSnapshot&)> look;
    };

    /// `interval` is the helper's between two samples.
    Exporter(Sources sources, Seconds interval, const Services& services);
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
    void greet(const std::shared_ptr<Connection>& connection);
    void answer(const std::shared_ptr<Connection>& connection, std::string_view request);
    void answer(const Scrape& scrape) ZQM_REQUIRES(mutex_);
    void question();
    void look(const SystemSnapshot& sample);
    Seconds untilNextQuestion(const HelperAnswer& answer) const;
    void noteProblem(const HelperAnswer& answer);

    const Sources sources_;
    const Seconds interval_;
    const Services services_;
    bool refusesNames_ = false;
    std::string problem_;  // of the last question; touched by the queue's task alone
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
    std::unique_ptr<TaskQueue> questions_;  // last, so that its task ends while the rest is there
};

}  // namespace zqm
