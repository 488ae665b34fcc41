#include "Client/Web/WebServer.h"

#include <utility>

#include "Client/Texts.h"
#include "Client/Web/NowText.h"
#include "Client/Web/Page.h"
#include "Platform/Process/Clock.h"
#include "Platform/Process/Dispatch.h"
#include "Support/HttpText.h"
#include "Support/Json.h"

namespace zqm {
namespace {

constexpr Seconds savePeriod{300};
constexpr Seconds interestLasts{10};  // after a question; pages ask once a second
constexpr std::string_view jsonType = "application/json";
constexpr std::string_view bytesType = "application/octet-stream";
constexpr std::string_view pageType = "text/html; charset=utf-8";
constexpr std::string_view ok = "200 OK";

}  // namespace

WebServer::WebServer(Sources sources, HistoryKeeper& history, const SettingsStore& settings, Seconds interval,
                     const ServerServices& services)
    : sources_(std::move(sources)),
      history_(history),
      settings_(settings),
      interval_(interval),
      services_(services),
      looks_(services.dispatch.makeQueue("zqm.machine", 1)),
      tables_(services.dispatch.makeQueue("zqm.sources", 1)),
      saves_(services.dispatch.makeQueue("zqm.history", 1)),
      feed_(sources_.ask, [this](HelperAnswer answer) { take(std::move(answer)); }, interval,
            {services.dispatch, services.mainLoop, services.log, services.clock}) {}

WebServer::~WebServer() {
    services_.listener.stop();  // from here on nothing calls this object but what its queues run
    saves_.reset();
    history_.save();
}

std::optional<std::string> WebServer::start(WebAccess access) {
    access_ = std::move(access);
    const std::uint16_t port = access_.address.port;
    auto error = serveRequests(
        services_, port,
        [this](const std::shared_ptr<Connection>& asking, std::string_view request) { answer(asking, request); });
    if (error) return error;
    feed_.start();
    saving_ = services_.mainLoop.every(savePeriod, [this] { saves_->post([this] { history_.save(); }); });
    return std::nullopt;
}

void WebServer::take(HelperAnswer answer) {
    const auto* const reply = std::get_if<SnapshotReply>(&answer);
    if (reply) history_.add(reply->snapshot, interval_);
    const MutexLock hold(mutex_);
    if (reply) {
        levels_ = trail_.add(Levels(reply->snapshot, usualLimits));
        lookWhileAsked(reply->snapshot);
    }
    known_ = std::move(answer);
    now_.clear();
}

void WebServer::lookWhileAsked(const SystemSnapshot& sample) {
    if (!asked_ || services_.clock.monotonic() - *asked_ > interestLasts) {
        facts_.reset();  // the next one who asks shall not see old ones
        return;
    }
    if (std::exchange(isLooking_, true)) return;
    looks_->post([this, sample] {
        auto facts = sources_.facts(sample);
        const MutexLock hold(mutex_);
        facts_ = std::move(facts);
        isLooking_ = false;
        now_.clear();
    });
}

void WebServer::answer(const std::shared_ptr<Connection>& connection, std::string_view request) {
    const auto judged = webQuestion(request, access_);
    if (const auto* refusal = std::get_if<std::string_view>(&judged)) {
        return connection->send(webResponse(*refusal, jsonType, "{}"));
    }
    const WebQuestion& question = std::get<WebQuestion>(judged);
    if (question.route == WebRoute::sources && !question.isHead) return answerWithSources(connection);
    const bool isPage = question.route == WebRoute::page;
    const bool isBytes = question.route == WebRoute::history || question.route == WebRoute::cores;
    std::string response = isPage ? webResponse(ok, pageType, page(), pagePolicy())
                                  : webResponse(ok, isBytes ? bytesType : jsonType, body(question));
    connection->send(question.isHead ? headOf(std::move(response)) : std::move(response));
}

std::string WebServer::body(const WebQuestion& question) {
    if (question.route == WebRoute::history) return history_.figures(question.from, question.to);
    if (question.route == WebRoute::cores) return history_.cores(question.from, question.to);
    if (question.route == WebRoute::sources) return {};
    const MutexLock hold(mutex_);
    return now();
}

const std::string& WebServer::now() {
    asked_ = services_.clock.monotonic();
    if (now_.empty()) {
        static const HelperAnswer unasked = HelperError{ExitStatus::helperAway, said("asking the helper …")};
        now_ = nowText({known_ ? *known_ : unasked, levels_, history_.latest(), facts_ ? &*facts_ : nullptr, settings_,
                        interval_, services_.clock.wall()});
    }
    return now_;
}

void WebServer::answerWithSources(const std::shared_ptr<Connection>& connection) {
    const auto response = [](const std::string& table) {
        JsonWriter json;
        json.beginObject();
        json.key("text");
        json.value(std::string_view(table));
        json.endObject();
        return webResponse(ok, jsonType, json.text());
    };
    const MutexLock hold(mutex_);
    waitForTable_.push_back(connection);
    if (waitForTable_.size() > 1) return;
    tables_->post([this, response] {
        const std::string text = response(sources_.table());
        const MutexLock holdAgain(mutex_);
        for (const auto& waiting : std::exchange(waitForTable_, {})) waiting->send(text);
    });
}

}  // namespace zqm
