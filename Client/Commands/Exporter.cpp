#include "Client/Commands/Commands.h"

#include <CLI/CLI.hpp>

#include "Client/Exporter.h"
#include "Client/HelperClient.h"
#include "Platform/Posix/AsioListener.h"
#include "Platform/Posix/AsioMainLoop.h"
#include "Platform/Posix/PosixProcess.h"
#include "Platform/Posix/ThreadQueues.h"
#include "Platform/Process/Log.h"

namespace zqm {
namespace {

ExitStatus serveMetrics(std::uint16_t helperPort, const ListenAddress& address) {
    raiseDescriptorLimit();
    shareOneHeap();
    Log& log = userServices().log();
    AsioMainLoop mainLoop;
    ThreadQueues queues;
    AsioNetworkListener listener(address.host);
    const auto ask = [helper = HelperClient(helperPort),
                      interval = Seconds(readSettings()->updateInterval())]() -> HelperAnswer {
        return helper.freshSnapshot(interval);
    };
    Exporter exporter(ask, {listener, queues, mainLoop, log});
    const bool isIPv6 = address.host.find(':') != std::string::npos;
    const std::string place = (isIPv6 ? "[" + address.host + "]" : address.host) + ":";
    if (const auto error = exporter.start(address)) {
        return complain("cannot listen on " + place + std::to_string(address.port) + ": " + *error,
                        ExitStatus::failure);
    }
    log.print("zephlon: serving http://" + place + std::to_string(listener.port()) + "/metrics");
    mainLoop.run();
    return ExitStatus::success;
}

}  // namespace

void declareExporter(CLI::App& app, Invocation& invocation) {
    auto* command = app.add_subcommand("exporter", "Serve the metrics to a Prometheus server until SIGTERM or SIGINT");
    auto text = std::make_shared<std::string>("127.0.0.1:9932");
    command->add_option("--listen", *text, "Numeric address and port to serve on (127.0.0.1:9932)")
        ->option_text("ADDRESS:PORT")
        ->check([](const std::string& given) {
            return parseListenAddress(given) ? std::string() : given + " is not ADDRESS:PORT or [ADDRESS]:PORT";
        });
    command->footer(
        "Whoever reaches the address reads the figures, the names of processes included: on 127.0.0.1 every user of\n"
        "this machine, on another address the network. The token never leaves.\n"
        "Example: zephlon exporter --listen 192.0.2.7:9932");
    command->callback([&invocation, text] {
        invocation.command = [&invocation, text] { return serveMetrics(invocation.port, *parseListenAddress(*text)); };
    });
}

}  // namespace zqm
