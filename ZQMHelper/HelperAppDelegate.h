#pragma once

#include <cstdint>
#include <memory>

#include "Platform/Platform.h"
#include "Platform/Process/MainLoop.h"
#include "ZQMHelper/AccessToken.h"
#include "ZQMHelper/HTTPServer.h"
#include "ZQMHelper/ReportUploads.h"
#include "ZQMHelper/SensorSnapshot.h"
#include "ZQMHelper/Shared/DiagnosticsCollector.h"

namespace zqm {

/// Wires the program together and keeps it together for the life of the process.
class HelperAppDelegate {
public:
    explicit HelperAppDelegate(std::uint16_t port, Platform& platform = Platform::current())
        : port_(port), platform_(platform), sensorSnapshot_(platform), diagnostics_(smc_, platform) {}
    ~HelperAppDelegate();

    /// The launch handler: token, what keeps hosts from being asked, process rankings, diagnostics, settings, engine,
    /// routes, server, in this order. Called once, on the main thread. False when there is no shared container: nothing
    /// has been started, the reason stands on standard error, and the process is to end.
    bool applicationDidFinishLaunching();

private:
    void tellObstacles();
    void warmUpDiagnostics();
    void keepToken();
    RouteTable routes(const std::string& token);

    std::uint16_t port_;
    Platform& platform_;
    SensorSnapshot sensorSnapshot_;
    std::shared_ptr<SMCBridge> smc_ = std::make_shared<SMCBridge>(platform_);
    DiagnosticsCollector diagnostics_;
    std::unique_ptr<AccessToken> token_;
    std::unique_ptr<TaskQueue> diagnosticsQueue_;  // of the reports that are asked for, not of those that are sent
    ReportUploads uploads_{diagnostics_, platform_};
    std::unique_ptr<Timer> tokenTimer_;
    std::unique_ptr<HTTPServer> server_;  // last: its destruction ends the thread that calls the others
};

}  // namespace zqm
