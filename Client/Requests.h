#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace zqm {

class Clock;
class Connection;
class Dispatch;
class Listener;
class Log;
class MainLoop;

/// What a server of this program's is made of.
struct ServerServices {
    Listener& listener;
    Dispatch& dispatch;
    MainLoop& mainLoop;
    Log& log;
    Clock& clock;
};

/// Delivers each connection with its request, the first 16 KiB at most, on the listener's thread. A client that says
/// nothing within ten seconds loses its descriptor to others. Returns the error's description, or nullopt when it
/// listens.
std::optional<std::string> serveRequests(
    const ServerServices& services, std::uint16_t port,
    std::function<void(const std::shared_ptr<Connection>&, std::string_view request)> answer);

}  // namespace zqm
