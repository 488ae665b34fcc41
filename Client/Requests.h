#pragma once

#include <functional>
#include <memory>
#include <string_view>

namespace zqm {

class Connection;
class MainLoop;

/// Delivers the connection's request, its first 16 KiB at most, on the listener's thread. A client that says nothing
/// within ten seconds loses its descriptor to others.
void receiveRequest(const std::shared_ptr<Connection>& connection, MainLoop& mainLoop,
                    std::function<void(std::string_view request)> received);

}  // namespace zqm
