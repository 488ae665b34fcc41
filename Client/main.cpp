#include <CLI/CLI.hpp>
#include <clocale>

#include "Client/Commands/Commands.h"
#include "Platform/Machine.h"
#include "Platform/Posix/PosixProcess.h"
#include "ZQMHelper/PortOption.h"

namespace zqm {
namespace {

int run(int argc, char** argv) {
    fillStandardStreams();
    std::setlocale(LC_CTYPE, "");
    ignoreWriteSignals();
    Invocation invocation;
    CLI::App app("Shows what ZQMHelper, which must be running, knows of this machine.", "zephlon");
    app.set_version_flag("--version", "zephlon " ZQM_VERSION);
    addPortOption(app, invocation.port, "Port on 127.0.0.1 on which the helper serves");
    if (nativeMachineHasRoot()) {
        app.add_option("--root", invocation.root, "Where the machine's files lie, for a helper that was given the same")
            ->option_text("DIR");
    }
    app.require_subcommand(1);
    app.fallthrough();
    app.footer(
        "Exit status: 0 done, 1 not done, 2 usage, 3 no helper, 4 helper silent, 5 token refused, 6 other version.");
    declareStatus(app, invocation);
    declareTop(app, invocation);
    declareDiagnostics(app, invocation);
    declareSources(app, invocation);
    declareBar(app, invocation);
    declareDefaults(app, invocation);
    declareMetrics(app, invocation);
    declareExporter(app, invocation);
    declareWatch(app, invocation);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& help) {
        return app.exit(help);
    } catch (const CLI::ParseError& error) {
        return static_cast<int>(complain(error.what(), ExitStatus::usage));
    }
    return static_cast<int>(invocation.command());
}

}  // namespace
}  // namespace zqm

int main(int argc, char** argv) {
    return zqm::run(argc, argv);
}
