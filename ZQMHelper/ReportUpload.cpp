#include "ZQMHelper/ReportUpload.h"

#include <future>
#include <memory>

#include "Platform/Process/HttpClient.h"
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

}  // namespace

std::string uploadReport(DiagnosticsCollector& collector, Platform& platform) {
    std::string report = collector.collect(true);
    const auto url = secureUrl(collectionHost(platform.systemSettings), "/api/diagnostics");
    if (!url) return failure("invalid url");
    const auto reply = std::make_shared<std::promise<std::string>>();
    platform.httpClient.start(
        {.url = *url, .method = "POST", .contentType = "text/plain", .body = std::move(report), .timeout = uploadTime},
        [reply](const HttpReply& answer) { reply->set_value(replyTo(answer)); });
    return reply->get_future().get();
}

}  // namespace zqm
