#include <CLI/CLI.hpp>

#include "Client/Commands/Commands.h"
#include "Client/HelperClient.h"

namespace zqm {
namespace {

constexpr Seconds reportPatience(30);  // an upload may take ten, and others may be before it

ExitStatus printReport(const HelperClient& helper) {
    const auto report = helper.get("/api/diagnostics", reportPatience);
    if (const auto* error = std::get_if<HelperError>(&report)) return complain(error->message, error->status);
    return printed(std::get<std::string>(report) + '\n');
}

ExitStatus sendReport(const HelperClient& helper) {
    const auto reply = helper.get("/api/diagnostics/report", reportPatience);
    if (const auto* error = std::get_if<HelperError>(&reply)) return complain(error->message, error->status);
    const auto problem = uploadProblem(std::get<std::string>(reply));
    if (problem) return complain("the report was not sent: " + *problem, ExitStatus::failure);
    return printed("The report was sent.\n");
}

}  // namespace

void declareDiagnostics(CLI::App& app, Invocation& invocation) {
    auto* command = app.add_subcommand("diagnostics", "The report on what the helper can read on this machine");
    auto send = std::make_shared<bool>(false);
    command->add_flag("--send", *send, "Have the helper send a fresh report to its makers instead of printing it");
    command->callback([&invocation, send] {
        invocation.command = [&invocation, send] {
            const HelperClient helper(invocation.port);
            return *send ? sendReport(helper) : printReport(helper);
        };
    });
}

}  // namespace zqm
