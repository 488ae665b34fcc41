#pragma once

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
};
std::optional<ListenAddress> parseListenAddress(std::string_view text);

/// Serves the exposition over HTTP: "/metrics", a page about it at "/", else 404.
///
/// On a loopback address it answers to numeric addresses and "localhost" alone: a web site that binds its own name to
/// 127.0.0.1 would otherwise read the figures through the user's browser.
///
/// The helper is asked when a scrape comes, by one question at a time that answers every scrape that waits: neither a
/// helper that is silent nor a thousand scrapes at once hold up anything but the answers themselves. Main thread only;
/// destruction closes every connection and waits for a question that is under way.
class Exporter {
public:
    struct Services {
        Listener& listener;
        Dispatch& dispatch;
        MainLoop& mainLoop;
        Log& log;
    };

    /// `ask` may block for a bounded time.
    Exporter(std::function<HelperAnswer()> ask, const Services& services);
    ~Exporter();
    Exporter(const Exporter&) = delete;
    Exporter& operator=(const Exporter&) = delete;

    /// Begins to serve on `address`, which is the listener's; returns the error's description, or nullopt when it does.
    std::optional<std::string> start(const ListenAddress& address);

private:
    void greet(const std::shared_ptr<Connection>& connection);
    void answer(const std::shared_ptr<Connection>& connection, std::string_view request);
    void answerScrapes();
    void noteProblem(const HelperAnswer& answer);

    const std::function<HelperAnswer()> ask_;
    const Services services_;
    bool refusesNames_ = false;
    std::string problem_;  // of the last question; touched by the queue's task alone
    Mutex mutex_;
    std::vector<std::shared_ptr<Connection>> scrapes_ ZQM_GUARDED_BY(mutex_);  // that wait for the question's answer
    std::unique_ptr<TaskQueue> questions_;  // last, so that its task ends while the rest is there
};

}  // namespace zqm
