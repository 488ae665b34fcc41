#pragma once

#include <cstdint>
#include <memory>

#include "Platform/Platform.h"
#include "ZQMHelper/HTTPServer.h"
#include "ZQMHelper/SensorSnapshot.h"
#include "ZQMHelper/Shared/DiagnosticsCollector.h"

namespace zqm {

/// Wires the program together and keeps it together for the life of the process.
class HelperAppDelegate {
public:
    explicit HelperAppDelegate(std::uint16_t port, Platform& platform = Platform::current())
        : port_(port), platform_(platform), sensorSnapshot_(platform), diagnostics_(smc_, platform) {}
    ~HelperAppDelegate();

    /// The launch handler: token, process rankings, diagnostics, settings, engine, routes,
    /// server, in this order. Called once, on the main thread.
    /// False when there is no shared container: nothing has been started, the reason stands on standard error, and the
    /// process is to end.
    bool applicationDidFinishLaunching();

private:
    void warmUpDiagnostics();
    RouteTable routes(const std::string& token);

    std::uint16_t port_;
    Platform& platform_;
    SensorSnapshot sensorSnapshot_;
    std::shared_ptr<SMCBridge> smc_ = std::make_shared<SMCBridge>(platform_);
    DiagnosticsCollector diagnostics_;
    std::unique_ptr<TaskQueue> warmUp_;
    std::unique_ptr<HTTPServer> server_;
};

}  // namespace zqm
