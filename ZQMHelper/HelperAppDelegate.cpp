#include "ZQMHelper/HelperAppDelegate.h"

#include <cstdio>
#include <string>

#include "Platform/Process/HttpClient.h"
#include "Platform/Process/Log.h"
#include "Platform/Process/MainLoop.h"
#include "Platform/Process/SystemSettings.h"
#include "ZQMHelper/Shared/Deployment.h"

namespace zqm {
namespace {

constexpr Seconds tokenPeriod(2.0);

}  // namespace

bool HelperAppDelegate::applicationDidFinishLaunching() {
    platform_.log.print("[ZQMHelper] starting on 127.0.0.1:" + std::to_string(port_));
    const auto container = platform_.systemSettings.sharedContainer(appGroup);
    if (!container.path) {
        std::fprintf(stderr, "[ZQMHelper] App Group %s 不可用——entitlements 未生效？\n", appGroup.data());
        std::fprintf(stderr, "[ZQMHelper] %s\n", container.problem.c_str());
        return false;
    }
    token_ = std::make_unique<AccessToken>(*container.path, platform_.files);
    tellObstacles();
    const auto processReader = std::make_shared<ProcessReader>(platform_);
    sensorSnapshot_.setProcessReader(processReader);
    processReader->start();
    warmUpDiagnostics();
    const auto settings = std::make_shared<SettingsStore>(platform_);
    platform_.mainLoop.post([this, settings] {
        const auto engine = std::make_shared<MonitorEngine>(settings, smc_, platform_);
        sensorSnapshot_.setEngine(engine);
        engine->start();
    });
    server_ = std::make_unique<HTTPServer>(platform_);
    server_->port = port_;
    server_->routes = routes(token_->text());
    server_->start();
    keepToken();
    platform_.log.print("[ZQMHelper] ready");
    return true;
}

/// Once, and here: the open route, where it would come to light later, must not tell a stranger.
void HelperAppDelegate::tellObstacles() {
    SystemSettings& settings = platform_.systemSettings;
    if (geolocationHost(settings).empty() && collectionHost(settings).empty()) return;
    for (const std::string& obstacle : platform_.httpClient.obstacles())
        std::fprintf(stderr, "[ZQMHelper] %s\n", obstacle.c_str());
}

/// While it serves, its clients find its token. One that cannot serve leaves none that only it would take.
void HelperAppDelegate::keepToken() {
    if (!server_->listener) return token_->withdraw();
    tokenTimer_ = platform_.mainLoop.every(tokenPeriod, [this] {
        if (token_->isFileMissing() && platform_.systemSettings.sharedContainer(appGroup).path) token_->putBack();
    });
}

/// The first report takes its time; whoever asks for it soon finds it made, or waits for this one.
void HelperAppDelegate::warmUpDiagnostics() {
    diagnosticsQueue_ = platform_.dispatch.makeQueue("zqm.diagnostics", 1);
    diagnosticsQueue_->post([this] {
        diagnostics_.collect(false);
        platform_.log.print("[ZQMHelper] diagnostics cache warmed");
    });
}

HelperAppDelegate::~HelperAppDelegate() {
    platform_.httpClient.stop();  // an upload that waits for its answer must not hold up the end
}

RouteTable HelperAppDelegate::routes(const std::string& token) {
    const auto snapshot = [this](const Caller& caller) {
        sensorSnapshot_.request([caller](std::string_view text) { caller.answer(text); });
    };
    const auto ping = [](const Caller& caller) { caller.answer(R"({"ok":true})"); };
    const auto diagnostics = [this](const Caller& caller) {
        if (const auto report = diagnostics_.cached()) return caller.answer(*report);
        diagnosticsQueue_->post([this, caller] { caller.answer(diagnostics_.collect(false)); });
    };
    const auto upload = [this](const Caller& caller) { uploads_.ask(caller); };
    return {{"/api/snapshot", {token, snapshot}},
            {"/api/ping", {token, ping}},
            {"/api/diagnostics", {token, diagnostics}},
            {"/api/diagnostics/report", {std::nullopt, upload}}};
}

}  // namespace zqm
