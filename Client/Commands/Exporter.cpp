#include "Client/Commands/Commands.h"

#include <CLI/CLI.hpp>

#include "Client/Exporter.h"
#include "Client/HelperClient.h"
#include "Client/Texts.h"
#include "Platform/Posix/AsioListener.h"
#include "Platform/Posix/AsioMainLoop.h"
#include "Platform/Posix/PosixClock.h"
#include "Platform/Posix/PosixProcess.h"
#include "Platform/Posix/ThreadQueues.h"
#include "Platform/Process/Log.h"

namespace zqm {
namespace {

ExitStatus serveMetrics(const Invocation& invocation, ListenAddress address) {
    raiseDescriptorLimit();
    shareOneHeap();
    Log& log = userServices().log();
    PosixClock clock;
    AsioMainLoop mainLoop;
    ThreadQueues queues;
    AsioNetworkListener listener(address.host);
    MachineFiguresReader machine(invocation.root, clock);
    const Seconds interval(readSettings()->updateInterval());
    Exporter exporter({questionOfNow(invocation, interval),
                       [&machine](const SystemSnapshot& sample) { return machine.look(sample); }},
                      interval, {listener, queues, mainLoop, log, clock});
    if (const auto error = exporter.start(address)) {
        return complain(said("cannot listen on {}: {}", address.text(), *error), ExitStatus::failure);
    }
    address.port = listener.port();
    log.print("zephlon: " + said("serving {}", "http://" + address.text() + "/metrics"));
    if (!address.isLoopback()) {
        log.print("zephlon: " +
                  said("whoever reaches {} reads the figures and the names of programs, without a password; "
                       "127.0.0.1 is this machine alone",
                       address.text()));
    }
    mainLoop.run();
    return ExitStatus::success;
}

}  // namespace

void declareExporter(CLI::App& app, Invocation& invocation) {
    auto* command = app.add_subcommand("exporter", "Serve the metrics to a Prometheus server until SIGTERM or SIGINT");
    auto text = std::make_shared<std::string>("127.0.0.1:9932");
    command->add_option("--listen", *text, "Numeric address and port to serve on (127.0.0.1:9932)")
        ->option_text("ADDRESS:PORT")
        ->check([](const std::string& given) { return listenAddressFault(given); });
    command->footer(
        "Asks the helper once an interval and sums what the samples tell per second in counters, so that rate() "
        "works.\n"
        "Whoever reaches the address reads the figures, names of programs and mount points included: on 127.0.0.1 "
        "every\n"
        "user of this machine, on another address the network. The token never leaves.\n"
        "Example: zephlon exporter --listen 192.0.2.7:9932");
    command->callback([&invocation, text] {
        invocation.command = [&invocation, text] { return serveMetrics(invocation, *parseListenAddress(*text)); };
    });
}

}  // namespace zqm
