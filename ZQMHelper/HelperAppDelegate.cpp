#include "ZQMHelper/HelperAppDelegate.h"

#include <cstdio>
#include <string>

#include "Platform/Process/HttpClient.h"
#include "Platform/Process/Log.h"
#include "Platform/Process/MainLoop.h"
#include "Platform/Process/SystemSettings.h"
#include "ZQMHelper/AccessToken.h"
#include "ZQMHelper/ReportUpload.h"

namespace zqm {

bool HelperAppDelegate::applicationDidFinishLaunching() {
    platform_.log.print("[ZQMHelper] starting on 127.0.0.1:" + std::to_string(port_));
    const auto container = platform_.systemSettings.sharedContainer(appGroup);
    if (!container) {
        std::fprintf(stderr, "[ZQMHelper] App Group %s 不可用——entitlements 未生效？\n", appGroup.data());
        return false;
    }
    const std::string token = loadOrCreateToken(*container, platform_.files);
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
    server_->routes = routes(token);
    server_->start();
    platform_.log.print("[ZQMHelper] ready");
    return true;
}

/// The first report takes its time; whoever asks for it soon finds it made.
void HelperAppDelegate::warmUpDiagnostics() {
    warmUp_ = platform_.dispatch.makeQueue("zqm.warmup", 1);
    warmUp_->post([this] {
        diagnostics_.collect(false);
        platform_.log.print("[ZQMHelper] diagnostics cache warmed");
    });
}

HelperAppDelegate::~HelperAppDelegate() {
    platform_.httpClient.stop();  // an upload that waits for its answer must not hold up the end
}

RouteTable HelperAppDelegate::routes(const std::string& token) {
    return {
        {"/api/snapshot",
         {.expectedToken = token, .handler = [this] { return sensorSnapshot_.text(); }, .mayBlock = false}},
        {"/api/ping",
         {.expectedToken = token, .handler = [] { return std::string(R"({"ok":true})"); }, .mayBlock = false}},
        {"/api/diagnostics", {.expectedToken = token, .handler = [this] { return diagnostics_.collect(false); }}},
        {"/api/diagnostics/report",
         {.expectedToken = std::nullopt, .handler = [this] { return uploadReport(diagnostics_, platform_); }}},
    };
}

}  // namespace zqm
