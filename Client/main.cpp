#include <CLI/CLI.hpp>

#include "Client/Commands/Commands.h"
#include "Client/Nearest.h"
#include "Client/Texts.h"
#include "Platform/Machine.h"
#include "Platform/Posix/PosixProcess.h"
#include "ZQMHelper/PortOption.h"

namespace zqm {
namespace {

/// The parser's complaint, with what may have been meant.
std::string wayOut(const CLI::App& app, const CLI::ParseError& error) {
    const std::vector<CLI::App*> chosen = app.get_subcommands();
    std::vector<const CLI::App*> commands(chosen.begin(), chosen.end());
    const bool isChosen = !commands.empty();
    if (!isChosen) commands = app.get_subcommands({});
    const std::vector<std::string> unknown = app.remaining(true);
    std::vector<std::string> candidates{"--port", "--root"};
    for (const CLI::App* known : commands) {
        if (!isChosen) candidates.push_back(known->get_name());
        for (const CLI::App* part : known->get_subcommands({})) candidates.push_back(part->get_name());
        for (const CLI::Option* option : known->get_options()) {
            for (const std::string& name : option->get_lnames()) candidates.push_back("--" + name);
        }
    }
    std::string text = error.what();
    if (!isChosen) {
        text =
            unknown.empty() ? std::string("a command is missing") : "there is no command \"" + unknown.front() + "\"";
    }
    for (const std::string& word : unknown) {
        const std::string meant = nearest(word, candidates);
        if (!meant.empty()) return text + "; did you mean " + meant + "?";
    }
    return isChosen ? text : text + "; zephlon --help lists the commands";
}

int run(int argc, char** argv) {
    fillStandardStreams();
    takeLocale();
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
    declareHistory(app, invocation);
    declareWeb(app, invocation);
    declareWatch(app, invocation);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& help) {
        return app.exit(help);
    } catch (const CLI::ParseError& error) {
        return static_cast<int>(complain(wayOut(app, error), ExitStatus::usage));
    }
    L10n::language = clientLanguage(userDefaults());
    return static_cast<int>(invocation.command());
}

}  // namespace
}  // namespace zqm

int main(int argc, char** argv) {
    return zqm::run(argc, argv);
}
