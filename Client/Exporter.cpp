#include "Client/Exporter.h"

#include <algorithm>
#include <utility>

#include "Client/Terminal.h"
#include "Client/Texts.h"
#include "Client/Units.h"
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
constexpr Seconds machineLasts{60};  // of a look, while the next one waits for a device
constexpr std::string_view plainType = "text/plain; charset=utf-8";
constexpr std::string_view pageType = "text/html; charset=utf-8";
constexpr std::string_view page =
    "<!DOCTYPE html>\n<title>Zephlon exporter</title>\n<h1>Zephlon exporter</h1>\n"
    "<p><a href=\"/metrics\">Metrics</a> of this machine for Prometheus.</p>\n";

std::string response(std::string_view status, std::string_view type, std::string_view body) {
    return httpResponse(status, std::string("Content-Type: ").append(type).append("\r\n"), body);
}

/// The reply to a HEAD: what a GET would get, without the body.
std::string headOf(std::string response) {
    constexpr std::string_view end = "\r\n\r\n";
    response.resize(response.find(end) + end.size());
    return response;
}

/// What a GET or HEAD asks for, without its query; empty for everything else.
struct Target {
    std::string_view path;
    bool isHead = false;
};
Target targetOf(std::string_view request) {
    RequestLine line = takeRequestLine(request);
    const bool isHead = line.method == "HEAD";
    return {isHead || line.method == "GET" ? takeUntil(line.target, '?') : std::string_view(), isHead};
}

/// The host that the client believes to talk to, without its port; empty when it does not say.
std::string_view hostOf(std::string_view request) {
    const std::string_view host = headerOf(request, "host");
    return host.substr(0, host.find(':', host.starts_with('[') ? host.find(']') : 0));
}

MetricsFormat formatFor(std::string_view request) {
    const std::string_view accepted = headerOf(request, "accept");
    const double wanted = weightOf(accepted, "application/openmetrics-text", "1.0.0");
    return wanted > 0 && wanted >= weightOf(accepted, "text/plain", "0.0.4") ? MetricsFormat::openMetrics
                                                                             : MetricsFormat::text;
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

std::string ListenAddress::text() const {
    const bool isIPv6 = host.find(':') != std::string::npos;
    return (isIPv6 ? "[" + host + "]:" : host + ":") + std::to_string(port);
}

std::string listenAddressFault(std::string_view text) {
    const std::string given(text);
    const auto address = parseListenAddress(text);
    if (!address) return given + " is not ADDRESS:PORT or [ADDRESS]:PORT, such as 127.0.0.1:9932";
    const bool isIPv6 = address->host.find(':') != std::string::npos;
    if (isIPv6 || !(isName(address->host) || address->host == "localhost")) return {};
    const std::string port = ":" + std::to_string(address->port);
    return address->host +
           " is a name, and a name may lead to other machines: give the address to listen on, 127.0.0.1" + port +
           " for this machine alone or one that hostname -I prints for the network";
}

Exporter::Exporter(Sources sources, Seconds interval, const Services& services)
    : sources_(std::move(sources)),
      interval_(interval),
      services_(services),
      counters_(interval),
      looks_(services.dispatch.makeQueue("zqm.machine", 1)),
      questions_(services.dispatch.makeQueue("zqm.exporter", 1)) {}

Exporter::~Exporter() {
    services_.listener.stop();  // from here on nothing calls this object but what its queues run
}

std::optional<std::string> Exporter::start(const ListenAddress& address) {
    refusesNames_ = address.isLoopback();
    services_.mainLoop.post([this] { questions_->post([this] { question(); }); });
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
    const Target target = targetOf(request);
    const auto send = [&](std::string_view status, std::string_view type, std::string_view body) {
        const std::string whole = response(status, type, body);
        connection->send(target.isHead ? headOf(whole) : whole);
    };
    if (refusesNames_ && isName(hostOf(request))) {
        return send("403 Forbidden", plainType, "ask for the address, not for a name\n");
    }
    if (target.path == "/") return send("200 OK", pageType, page);
    if (target.path != "/metrics") return send("404 Not Found", plainType, "not found\n");
    const MutexLock hold(mutex_);
    const Scrape scrape{connection, formatFor(request), target.isHead};
    if (known_) {
        answer(scrape);
    } else {
        scrapes_.push_back(scrape);
    }
}

/// What is known may have grown old since, when a question is under way or the machine has slept.
void Exporter::answer(const Scrape& scrape) {
    const auto* const reply = std::get_if<SnapshotReply>(&*known_);
    if (reply && ageIfOld(reply->snapshot, interval_, services_.clock.wall())) {
        known_ = HelperError{ExitStatus::helperSilent, said("the latest answer is too old")};
        texts_ = {};
    }
    const MonotonicTime now = services_.clock.monotonic();
    std::string& text = texts_[static_cast<std::size_t>(scrape.format)];
    if (text.empty()) {
        const bool hasMachine = machine_ && now - machineAt_ < machineLasts;
        text =
            response("200 OK", contentType(scrape.format),
                     exposition(*known_, {hasMachine ? &*machine_ : nullptr, &counters_, &names_, now}, scrape.format));
    }
    scrape.connection->send(scrape.isHead ? headOf(text) : text);
}

void Exporter::question() {
    HelperAnswer answer = sources_.ask();
    noteProblem(answer);
    services_.mainLoop.postAfter(untilNextQuestion(answer), [this] { questions_->post([this] { question(); }); });
    const MutexLock hold(mutex_);
    if (const auto* reply = std::get_if<SnapshotReply>(&answer)) {
        counters_.count(reply->snapshot, services_.clock.monotonic());
        if (!std::exchange(isLooking_, true)) {
            looks_->post([this, sample = reply->snapshot] { look(sample); });
        }
    } else {
        counters_.miss();
    }
    known_ = std::move(answer);
    texts_ = {};
    for (const Scrape& scrape : std::exchange(scrapes_, {})) this->answer(scrape);
}

void Exporter::look(const SystemSnapshot& sample) {
    auto figures = sources_.look(sample);
    const MutexLock hold(mutex_);
    machine_ = std::move(figures);
    machineAt_ = services_.clock.monotonic();
    isLooking_ = false;
}

/// In the middle between two samples none is missed, and none seen twice.
Seconds Exporter::untilNextQuestion(const HelperAnswer& answer) const {
    const auto* const reply = std::get_if<SnapshotReply>(&answer);
    if (!reply) return std::clamp(interval_, Seconds(1), Seconds(15));
    const Seconds age = services_.clock.wall() - reply->snapshot.timestamp;
    const Seconds untilMiddle = std::clamp(1.5 * interval_ - age, 0.5 * interval_, 1.5 * interval_);
    return std::clamp(untilMiddle, Seconds(0.1), Seconds(60));  // whatever the preferences say
}

void Exporter::noteProblem(const HelperAnswer& answer) {
    const auto* const error = std::get_if<HelperError>(&answer);
    std::string problem = error ? printable(error->message) : std::string();
    if (problem == problem_) return;
    services_.log.print("zephlon: " + (error ? problem : said("the helper answers again")));
    problem_ = std::move(problem);
}

}  // namespace zqm
