#include "Client/Requests.h"

#include <utility>

#include "Platform/Process/LoopbackListener.h"
#include "Platform/Process/MainLoop.h"

namespace zqm {
namespace {

constexpr std::size_t mostRequest = 16384;
constexpr Seconds patience{10};

}  // namespace

void receiveRequest(const std::shared_ptr<Connection>& connection, MainLoop& mainLoop,
                    std::function<void(std::string_view request)> received) {
    mainLoop.postAfter(patience, [weak = std::weak_ptr(connection)] {
        if (const auto silent = weak.lock()) silent->cancel();
    });
    connection->receive(mostRequest, std::move(received));
}

}  // namespace zqm
