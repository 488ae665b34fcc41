#include "ZQMHelper/HTTPServer.h"

#include <array>
#include <charconv>

#include "Platform/Process/Log.h"
#include "Platform/Process/LoopbackListener.h"
#include "Platform/Process/SystemSettings.h"
#include "Support/ConstantTime.h"
#include "Support/HttpText.h"
#include "Support/Text.h"

namespace zqm {
namespace {

constexpr std::size_t maximumRequest = 16384;  // bytes that are looked at
constexpr std::string_view tokenPrefix = "X-ZQM-Token: ";

/// The first token line without the prefix, wherever it occurs in it; nullopt without such a line.
std::optional<std::string> presentedToken(std::string_view request) {
    for (auto line = takeHttpLine(request); !line.empty(); line = takeHttpLine(request)) {
        if (!line.starts_with(tokenPrefix)) continue;
        std::string token;
        while (!line.empty()) {
            const auto end = line.find(tokenPrefix);
            token += line.substr(0, end);
            line.remove_prefix(end == std::string_view::npos ? line.size() : end + tokenPrefix.size());
        }
        return token;
    }
    return std::nullopt;
}

template <std::size_t Size>
std::string_view bytesReceivedLine(std::array<char, Size>& buffer, std::size_t bytes) {
    constexpr std::string_view before = "[ZQMHelper] data received: ";
    constexpr std::string_view after = " bytes";
    static_assert(Size >= before.size() + 20 + after.size());
    auto end = before.copy(buffer.data(), before.size());
    end = static_cast<std::size_t>(std::to_chars(&buffer[end], buffer.data() + Size, bytes).ptr - buffer.data());
    end += after.copy(&buffer[end], after.size());
    return {buffer.data(), end};
}

}  // namespace

Verdict judge(std::string_view request, const RouteTable& routes) {
    using Kind = Verdict::Kind;
    if (request.empty() || !isValidUtf8(request)) return {Kind::close};
    auto rest = request;
    const auto path = takeRequestLine(rest).target;
    const auto route = routes.find(path.empty() ? "/" : path);
    if (route == routes.end()) return {Kind::notFound};
    const auto& expected = route->second.expectedToken;
    if (expected) {
        const auto presented = presentedToken(request);
        if (!presented || !equalInConstantTime(*presented, *expected)) return {Kind::forbidden};
    }
    return {Kind::serve, &route->second};
}

std::string okResponse(std::string_view body) {
    return httpResponse("200 OK", "Content-Type: application/json\r\nAccess-Control-Allow-Origin: *\r\n", body);
}

std::string fixedResponse(Verdict::Kind kind) {
    if (kind == Verdict::Kind::forbidden) return httpResponse("403 Forbidden", "", "{}");
    if (kind == Verdict::Kind::notFound) return httpResponse("404 Not Found", "", "{}");
    return {};
}

void Caller::answer(std::string_view body) const {
    connection_->send(okResponse(body));
}

bool Caller::isGone() const {
    return connection_->isGone("HTTP/1.1 200 OK\r\n");  // with which every route's answer begins
}

HTTPServer::HTTPServer(Platform& platform) : platform_(platform) {}

HTTPServer::~HTTPServer() {
    if (listener) listener->stop();  // from here on nothing calls this object
}

void HTTPServer::start() {
    logsConnections_ = platform_.systemSettings.environment("ZQM_CONNECTION_LOG") != "0";
    const auto error =
        platform_.listener.start(port, [this](const std::shared_ptr<Connection>& accepted) { handle(accepted); });
    if (error) return platform_.log.print("[ZQMHelper] listener failed: " + *error);
    listener = &platform_.listener;
}

void HTTPServer::handle(const std::shared_ptr<Connection>& connection) {
    if (logsConnections_) platform_.log.system("[ZQMHelper] connection received");
    connection->receive(maximumRequest, [this, connection](std::string_view request) { answer(connection, request); });
}

void HTTPServer::answer(const std::shared_ptr<Connection>& connection, std::string_view request) {
    std::array<char, 64> line;
    if (logsConnections_) platform_.log.system(bytesReceivedLine(line, request.size()));
    const auto verdict = judge(request, routes);
    if (verdict.kind == Verdict::Kind::close) return connection->cancel();
    if (verdict.kind != Verdict::Kind::serve) return connection->send(fixedResponse(verdict.kind));
    verdict.route->handler(Caller(connection));
}

}  // namespace zqm
