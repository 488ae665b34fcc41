#include "Client/Requests.h"

#include <utility>

#include "Platform/Process/LoopbackListener.h"
#include "Platform/Process/MainLoop.h"

namespace zqm {
namespace {

constexpr std::size_t mostRequest = 16384;
constexpr Seconds patience{10};

}  // namespace

std::optional<std::string> serveRequests(
    const ServerServices& services, std::uint16_t port,
    std::function<void(const std::shared_ptr<Connection>&, std::string_view request)> answer) {
    const auto greet = [&mainLoop = services.mainLoop,
                        answer = std::move(answer)](const std::shared_ptr<Connection>& accepted) {
        mainLoop.postAfter(patience, [weak = std::weak_ptr(accepted)] {
            if (const auto silent = weak.lock()) silent->cancel();
        });
        accepted->receive(mostRequest, [accepted, answer](std::string_view request) { answer(accepted, request); });
    };
    return services.listener.start(port, greet);
}

}  // namespace zqm
