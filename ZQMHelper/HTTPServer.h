#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Platform/Platform.h"
#include "ZQMHelper/UsualPort.h"

namespace zqm {

class Connection;

/// Whoever asked for a route and waits for its body. Copies are the same caller; when the last of them goes without an
/// answer, the connection is closed.
class Caller {
public:
    explicit Caller(std::shared_ptr<Connection> connection) : connection_(std::move(connection)) {}

    /// Sends the body. Once; any thread.
    void answer(std::string_view body) const;
    /// Whether nobody would receive an answer any more; a caller that has only ended its own stream would. The
    /// listener's thread alone.
    bool isGone() const;

private:
    std::shared_ptr<Connection> connection_;
};

/// What one path answers.
struct Route {
    /// Absent: the route is open to every program on this machine.
    std::optional<std::string> expectedToken;
    /// Answers the caller, at once or later from any thread. Runs on the listener's thread, where everybody waits for
    /// it: it must neither wait for anything nor throw.
    std::function<void(const Caller&)> handler;
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
/// Main thread only. Destruction closes every connection; answers that come later are dropped. With
/// ZQM_CONNECTION_LOG=0 in the environment the system log gets no lines about connections.
class HTTPServer {
public:
    explicit HTTPServer(Platform& platform = Platform::current());
    ~HTTPServer();
    HTTPServer(const HTTPServer&) = delete;
    HTTPServer& operator=(const HTTPServer&) = delete;

    /// Begins to listen, once, when the routes are complete. A failure is printed and leaves `listener` null.
    void start();

    LoopbackListener* listener = nullptr;
    RouteTable routes;  // never changed after `start`
    std::uint16_t port = usualPort;

private:
    void handle(const std::shared_ptr<Connection>& connection);
    void answer(const std::shared_ptr<Connection>& connection, std::string_view request);

    Platform& platform_;
    bool logsConnections_ = true;
};

}  // namespace zqm
