#include "ZQMHelper/HTTPServer.h"

#include <array>
#include <charconv>

#include "Platform/Process/Dispatch.h"
#include "Platform/Process/Log.h"
#include "Platform/Process/LoopbackListener.h"
#include "Support/Text.h"

namespace zqm {
namespace {

constexpr std::size_t maximumRequest = 16384;  // bytes that are looked at
constexpr std::string_view lineEnd = "\r\n";
constexpr std::string_view tokenPrefix = "X-ZQM-Token: ";

/// Takes the next line that is not empty off the front of `rest`; empty when there is none left.
std::string_view takeLine(std::string_view& rest) {
    while (rest.starts_with(lineEnd)) rest.remove_prefix(lineEnd.size());
    const auto line = rest.substr(0, rest.find(lineEnd));
    rest.remove_prefix(line.size());
    return line;
}

/// Takes the next piece off the front of `rest`, pieces being separated by spaces only.
std::string_view takePiece(std::string_view& rest) {
    while (rest.starts_with(' ')) rest.remove_prefix(1);
    return takeUntil(rest, ' ');
}

std::string_view pathOf(std::string_view requestLine) {
    takePiece(requestLine);  // the method
    const auto path = takePiece(requestLine);
    return path.empty() ? "/" : path;
}

/// The first token line without the prefix, wherever it occurs in it; nullopt without such a line.
std::optional<std::string> presentedToken(std::string_view request) {
    for (auto line = takeLine(request); !line.empty(); line = takeLine(request)) {
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

/// In a time that tells nothing about where two texts of the same length differ.
bool equalInConstantTime(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    volatile unsigned char difference = 0;
    for (std::size_t i = 0; i < a.size(); ++i) difference = difference | static_cast<unsigned char>(a[i] ^ b[i]);
    return difference == 0;
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
    const auto route = routes.find(pathOf(takeLine(rest)));
    if (route == routes.end()) return {Kind::notFound};
    const auto& expected = route->second.expectedToken;
    if (expected) {
        const auto presented = presentedToken(request);
        if (!presented || !equalInConstantTime(*presented, *expected)) return {Kind::forbidden};
    }
    return {Kind::serve, &route->second};
}

std::string okResponse(std::string_view body) {
    constexpr std::string_view beforeLength =
        "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nAccess-Control-Allow-Origin: *\r\nContent-Length: ";
    constexpr std::string_view afterLength = "\r\nConnection: close\r\n\r\n";
    std::string response;
    response.reserve(beforeLength.size() + 20 + afterLength.size() + body.size());
    response += beforeLength;
    response += std::to_string(body.size());
    response += afterLength;
    response += body;
    return response;
}

std::string_view fixedResponse(Verdict::Kind kind) {
    if (kind == Verdict::Kind::forbidden) {
        return "HTTP/1.1 403 Forbidden\r\nContent-Length: 2\r\nConnection: close\r\n\r\n{}";
    }
    if (kind == Verdict::Kind::notFound) {
        return "HTTP/1.1 404 Not Found\r\nContent-Length: 2\r\nConnection: close\r\n\r\n{}";
    }
    return {};
}

HTTPServer::HTTPServer(Platform& platform) : platform_(platform) {}

HTTPServer::~HTTPServer() {
    if (listener) listener->stop();  // from here on nothing calls this object but the handlers that run
}

void HTTPServer::start() {
    handlers_ = platform_.dispatch.makeQueue("zqm.helper.http.conn", handlerWidth);
    const auto error =
        platform_.listener.start(port, [this](const std::shared_ptr<Connection>& accepted) { handle(accepted); });
    if (error) return platform_.log.print("[ZQMHelper] listener failed: " + *error);
    listener = &platform_.listener;
}

void HTTPServer::handle(const std::shared_ptr<Connection>& connection) {
    platform_.log.system("[ZQMHelper] connection received");
    connection->receive(maximumRequest, [this, connection](std::string_view request) { answer(connection, request); });
}

void HTTPServer::answer(const std::shared_ptr<Connection>& connection, std::string_view request) {
    std::array<char, 64> line;
    platform_.log.system(bytesReceivedLine(line, request.size()));
    const auto verdict = judge(request, routes);
    if (verdict.kind == Verdict::Kind::close) return connection->cancel();
    if (verdict.kind != Verdict::Kind::serve) return connection->send(std::string(fixedResponse(verdict.kind)));
    // The table outlives the queue, and the queue its tasks.
    auto serve = [connection, route = verdict.route] { connection->send(okResponse(route->handler())); };
    if (verdict.route->mayBlock) {
        handlers_->post(std::move(serve));
    } else {
        serve();
    }
}

}  // namespace zqm
