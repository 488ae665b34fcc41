#include "Client/Exporter.h"

#include <algorithm>
#include <utility>

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

constexpr Seconds machineLasts{60};  // of a look, while the next one waits for a device
constexpr std::string_view plainType = "text/plain; charset=utf-8";
constexpr std::string_view pageType = "text/html; charset=utf-8";
constexpr std::string_view page =
    "<!DOCTYPE html>\n<title>Zephlon exporter</title>\n<h1>Zephlon exporter</h1>\n"
    "<p><a href=\"/metrics\">Metrics</a> of this machine for Prometheus.</p>\n";

std::string response(std::string_view status, std::string_view type, std::string_view body) {
    return httpResponse(status, std::string("Content-Type: ").append(type).append("\r\n"), body);
}

MetricsFormat formatFor(std::string_view request) {
    const std::string_view accepted = headerOf(request, "accept");
    const double wanted = weightOf(accepted, "application/openmetrics-text", "1.0.0");
    return wanted > 0 && wanted >= weightOf(accepted, "text/plain", "0.0.4") ? MetricsFormat::openMetrics
                                                                             : MetricsFormat::text;
}

}  // namespace

Exporter::Exporter(Sources sources, Seconds interval, const ServerServices& services)
    : sources_(std::move(sources)),
      interval_(interval),
      services_(services),
      counters_(interval),
      looks_(services.dispatch.makeQueue("zqm.machine", 1)),
      feed_(sources_.ask, [this](HelperAnswer answer) { take(std::move(answer)); }, interval,
            {services.dispatch, services.mainLoop, services.log, services.clock}) {}

Exporter::~Exporter() {
    services_.listener.stop();  // from here on nothing calls this object but what its queues run
}

std::optional<std::string> Exporter::start(const ListenAddress& address) {
    refusesNames_ = address.isLoopback();
    feed_.start();
    return serveRequests(
        services_, address.port,
        [this](const std::shared_ptr<Connection>& asking, std::string_view request) { answer(asking, request); });
}

void Exporter::answer(const std::shared_ptr<Connection>& connection, std::string_view request) {
    const RequestTarget target = targetOf(request);
    const auto send = [&](std::string_view status, std::string_view type, std::string_view body) {
        const std::string whole = response(status, type, body);
        connection->send(target.isHead ? headOf(whole) : whole);
    };
    if (refusesNames_ && isForeignName(hostOf(request))) {
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

void Exporter::take(HelperAnswer answer) {
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

}  // namespace zqm
