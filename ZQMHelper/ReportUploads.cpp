#include "ZQMHelper/ReportUploads.h"

#include <utility>

#include "Platform/Process/HttpClient.h"
#include "Platform/Process/LoopbackListener.h"
#include "Support/Json.h"
#include "ZQMHelper/Shared/Deployment.h"

namespace zqm {
namespace {

constexpr Seconds uploadTime(10);

std::string failure(std::string_view description) {
    std::string reply = R"({"error":)";
    appendJsonString(reply, description);
    return reply + '}';
}

std::string replyTo(const HttpReply& answer) {
    if (answer.error) return failure(*answer.error);
    if (answer.status && *answer.status != 200) return failure("server returned " + std::to_string(*answer.status));
    return R"({"status":"sent"})";
}

void dropGone(std::vector<Caller>& callers) {
    std::erase_if(callers, [](const Caller& caller) { return caller.isGone(); });
}

}  // namespace

ReportUploads::ReportUploads(DiagnosticsCollector& collector, Platform& platform)
    : collector_(collector), platform_(platform), builder_(platform.dispatch.makeQueue("zqm.report", 1)) {}

void ReportUploads::ask(const Caller& caller) {
    if (waiting_.size() + sharing_.size() >= mostWaiting) {
        dropGone(waiting_);
        dropGone(sharing_);
        if (waiting_.size() + sharing_.size() >= mostWaiting) return caller.answer(failure("too many wait already"));
    }
    waiting_.push_back(caller);
    if (!isBusy_) begin();
}

void ReportUploads::begin() {
    dropGone(waiting_);
    isBusy_ = !waiting_.empty();
    if (!isBusy_) return;
    sharing_.swap(waiting_);
    builder_->post([this] {
        platform_.listener.post([this, report = collector_.collect(true)]() mutable { send(std::move(report)); });
    });
}

void ReportUploads::send(std::string report) {
    dropGone(sharing_);
    if (sharing_.empty()) return begin();
    const auto url = secureUrl(collectionHost(platform_.systemSettings), "/api/diagnostics");
    if (!url) return finish(failure("invalid url"));
    HttpRequest request{.url = *url,
                        .method = "POST",
                        .contentType = "text/plain",
                        .body = std::move(report),
                        .wantsAnswerBody = false,
                        .timeout = uploadTime};
    platform_.httpClient.start(std::move(request), [this](const HttpReply& answer) {
        platform_.listener.post([this, reply = replyTo(answer)] { finish(reply); });
    });
}

void ReportUploads::finish(std::string_view reply) {
    for (const Caller& caller : std::exchange(sharing_, {})) caller.answer(reply);
    begin();
}

}  // namespace zqm
