#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Platform.h"

namespace zqm {

class Connection;
class TaskQueue;

/// What one path answers.
struct Route {
    /// Absent: the route is open to every program on this machine.
    std::optional<std::string> expectedToken;
    /// Returns the body. Called for several connections at once; must not throw.
    std::function<std::string()> handler;
    /// Whether the handler may wait for anything. One that does not runs on the listener's thread.
    bool mayBlock = true;
};

/// By exact path: case-sensitive, query included, nothing decoded.
using RouteTable = std::map<std::string, Route, std::less<>>;

/// What a request gets.
struct Verdict {
    enum class Kind { close, notFound, forbidden, serve };
    Kind kind = Kind::close;
    const Route* route = nullptr;  // the one to serve
    bool operator==(const Verdict&) const = default;
};

/// Judges the bytes of one request, complete or not. Pure.
///
/// Lines end with a carriage return and a line feed, pieces of the first one with spaces; the second piece is the path,
/// "/" when there is none. The method is not looked at. Text that is not UTF-8 gets no answer.
Verdict judge(std::string_view request, const RouteTable& routes);

/// The whole response of a served route.
std::string okResponse(std::string_view body);
/// The whole response of a verdict without a body of its own; empty for `close` and `serve`.
std::string fixedResponse(Verdict::Kind kind);

/// The helper's only inbound interface: one request and one response per connection, over the loopback interface.
///
/// Handlers that may block run on a queue of their own, at most `handlerWidth` at once, the others wait their turn; the
/// listener's thread is never held up. Main thread only; must not be destroyed by a handler. Destruction closes every
/// connection and waits for the handlers that run; their results are dropped.
class HTTPServer {
public:
    static constexpr unsigned handlerWidth = 8;

    explicit HTTPServer(Platform& platform = Platform::current());
    ~HTTPServer();
    HTTPServer(const HTTPServer&) = delete;
    HTTPServer& operator=(const HTTPServer&) = delete;

    /// Begins to listen, once, when the routes are complete. A failure is printed and leaves `listener` null.
    void start();

    LoopbackListener* listener = nullptr;
    RouteTable routes;  // never changed after `start`
    std::uint16_t port = 18932;

private:
    void handle(const std::shared_ptr<Connection>& connection);
    void answer(const std::shared_ptr<Connection>& connection, std::string_view request);

    Platform& platform_;
    std::unique_ptr<TaskQueue> handlers_;
};

}  // namespace zqm
