#include <CLI/CLI.hpp>

#include "Client/Commands/Commands.h"
#include "Client/HelperClient.h"
#include "Client/Sources.h"
#include "Client/Texts.h"
#include "Platform/Posix/PosixCommands.h"

namespace zqm {
namespace {

constexpr Seconds reportPatience(30);  // an upload may take ten, and others may be before it

ExitStatus printSources() {
    PosixCommands commands;
    const auto table = sourcesTable(commands);
    if (const auto* error = std::get_if<SourcesError>(&table)) return complain(error->message, ExitStatus::failure);
    return printed(std::get<std::string>(table));
}

/// The table as well, which says of each figure what the report's raw counters do not. Whatever there is is printed:
/// where one of them is missing, the other is needed most.
ExitStatus printDiagnostics(const HelperClient& helper) {
    const ExitStatus sources = printSources();
    const auto report = helper.get("/api/diagnostics", reportPatience);
    if (const auto* error = std::get_if<HelperError>(&report)) return complain(error->message, error->status);
    const ExitStatus status = printed('\n' + std::get<std::string>(report) + '\n');
    return status == ExitStatus::success ? sources : status;
}

ExitStatus sendReport(const HelperClient& helper) {
    const auto reply = helper.get("/api/diagnostics/report", reportPatience);
    if (const auto* error = std::get_if<HelperError>(&reply)) return complain(error->message, error->status);
    const auto problem = uploadProblem(std::get<std::string>(reply));
    if (problem) return complain(said("the report was not sent: {}", *problem), ExitStatus::failure);
    return printed(said("The report was sent.") + '\n');
}

}  // namespace

void declareDiagnostics(CLI::App& app, Invocation& invocation) {
    auto* command = app.add_subcommand("diagnostics", "What the helper can read on this machine: sources and report");
    auto send = std::make_shared<bool>(false);
    command->add_flag("--send", *send, "Have the helper send a fresh report to its makers instead; never the sources");
    command->callback([&invocation, send] {
        invocation.command = [&invocation, send] {
            const HelperClient helper(invocation.port);
            return *send ? sendReport(helper) : printDiagnostics(helper);
        };
    });
}

void declareSources(CLI::App& app, Invocation& invocation) {
    auto* command = app.add_subcommand("sources", "Where each figure comes from on this machine, or why it is absent");
    command->footer(
        "The table of ZQMHelper --sources, by the program installed beside this one, else by that on PATH.");
    command->callback([&invocation] { invocation.command = printSources; });
}

}  // namespace zqm
