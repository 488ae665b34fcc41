#include "Client/Exporter.h"

#include <algorithm>
#include <utility>

#include "Client/Terminal.h"
#include "Platform/Process/Dispatch.h"
#include "Platform/Process/Log.h"
#include "Platform/Process/LoopbackListener.h"
#include "Platform/Process/MainLoop.h"
#include "Support/HttpText.h"
#include "Support/Text.h"

namespace zqm {
namespace {

constexpr std::size_t mostRequest = 16384;  // bytes that are looked at
constexpr Seconds requestPatience{10};
constexpr std::string_view hostHeader = "host";
constexpr std::string_view plainType = "text/plain; charset=utf-8";
constexpr std::string_view pageType = "text/html; charset=utf-8";
constexpr std::string_view page =
    "<!DOCTYPE html>\n<title>Zephlon exporter</title>\n<h1>Zephlon exporter</h1>\n"
    "<p><a href=\"/metrics\">Metrics</a> of this machine for Prometheus.</p>\n";

std::string response(std::string_view status, std::string_view type, std::string_view body) {
    return httpResponse(status, std::string("Content-Type: ").append(type).append("\r\n"), body);
}

/// What a GET asks for, without its query; empty for everything else.
std::string_view pathOf(std::string_view request) {
    RequestLine line = takeRequestLine(request);
    return line.method == "GET" ? takeUntil(line.target, '?') : std::string_view();
}

/// The host that the client believes to talk to, without its port; empty when it does not say.
std::string_view hostOf(std::string_view request) {
    for (auto value = takeHttpLine(request); !value.empty(); value = takeHttpLine(request)) {
        const std::string_view name = takeUntil(value, ':');
        const bool isHost = std::equal(name.begin(), name.end(), hostHeader.begin(), hostHeader.end(),
                                       [](char a, char b) { return (a | 0x20) == b; });
        if (!isHost) continue;
        value = trimWhitespace(value);
        return value.substr(0, value.find(':', value.starts_with('[') ? value.find(']') : 0));
    }
    return {};
}

bool isName(std::string_view host) {
    if (host == "localhost" || host.starts_with('[')) return false;
    return host.find_first_not_of("0123456789.") != std::string_view::npos;
}

}  // namespace

std::optional<ListenAddress> parseListenAddress(std::string_view text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string_view::npos) return std::nullopt;
    const auto port = parseUnsigned(text.substr(colon + 1));
    std::string_view host = text.substr(0, colon);
    const bool isBracketed = host.starts_with('[') && host.ends_with(']');
    if (isBracketed) host = host.substr(1, host.size() - 2);
    const bool hasColon = host.find(':') != std::string_view::npos;
    if (host.empty() || hasColon != isBracketed || !port || *port > 65535) return std::nullopt;
    return ListenAddress{std::string(host), static_cast<std::uint16_t>(*port)};
}

Exporter::Exporter(std::function<HelperAnswer()> ask, const Services& services)
    : ask_(std::move(ask)), services_(services), questions_(services.dispatch.makeQueue("zqm.exporter", 1)) {}

Exporter::~Exporter() {
    services_.listener.stop();  // from here on nothing calls this object but a question that runs
}

std::optional<std::string> Exporter::start(const ListenAddress& address) {
    refusesNames_ = address.isLoopback();
    return services_.listener.start(address.port,
                                    [this](const std::shared_ptr<Connection>& accepted) { greet(accepted); });
}

void Exporter::greet(const std::shared_ptr<Connection>& connection) {
    // A client that says nothing must not keep its descriptor from others for ever.
    services_.mainLoop.postAfter(requestPatience, [weak = std::weak_ptr(connection)] {
        if (const auto silent = weak.lock()) silent->cancel();
    });
    connection->receive(mostRequest, [this, connection](std::string_view request) { answer(connection, request); });
}

void Exporter::answer(const std::shared_ptr<Connection>& connection, std::string_view request) {
    const std::string_view path = pathOf(request);
    if (refusesNames_ && isName(hostOf(request))) {
        return connection->send(response("403 Forbidden", plainType, "ask for the address, not for a name\n"));
    }
    if (path == "/") return connection->send(response("200 OK", pageType, page));
    if (path != "/metrics") return connection->send(response("404 Not Found", plainType, "not found\n"));
    bool isFirst = false;
    {
        const MutexLock hold(mutex_);
        isFirst = scrapes_.empty();
        scrapes_.push_back(connection);
    }
    if (isFirst) questions_->post([this] { answerScrapes(); });
}

void Exporter::answerScrapes() {
    const HelperAnswer answer = ask_();
    const std::string text = response("200 OK", expositionType, exposition(answer));
    std::vector<std::shared_ptr<Connection>> scrapes;
    {
        const MutexLock hold(mutex_);
        scrapes.swap(scrapes_);
    }
    for (const auto& scrape : scrapes) scrape->send(text);
    noteProblem(answer);
}

void Exporter::noteProblem(const HelperAnswer& answer) {
    const auto* const error = std::get_if<HelperError>(&answer);
    std::string problem = error ? printable(error->message) : std::string();
    if (problem == problem_) return;
    services_.log.print("zephlon: " + (error ? problem : "the helper answers again"));
    problem_ = std::move(problem);
}

}  // namespace zqm
