#include <CLI/CLI.hpp>
#include <algorithm>
#include <clocale>
#include <cstdio>
#include <functional>
#include <string>

#include "Client/ExitStatus.h"
#include "Client/HelperClient.h"
#include "Client/Status.h"
#include "Client/Terminal.h"
#include "Platform/Posix/JsonUserDefaults.h"
#include "Platform/Posix/PosixFiles.h"
#include "Platform/Posix/PosixProcess.h"

namespace zqm {
namespace {

/// What the command line asked for.
struct Invocation {
    std::uint16_t port = 18932;
    std::function<ExitStatus()> command;
};

/// One line on standard error, whatever the message holds.
ExitStatus complain(std::string message, ExitStatus status) {
    std::replace(message.begin(), message.end(), '\n', ' ');
    std::fprintf(stderr, "zephlon: %s\n", printable(message).c_str());
    return status;
}

ExitStatus printed(const std::string& text) {
    return printOut(text) ? ExitStatus::success : complain("cannot write the output", ExitStatus::failure);
}

/// The user's preferences as the helper would read them at its next start.
std::shared_ptr<SettingsStore> readSettings() {
    static PosixFiles files;
    static JsonUserDefaults defaults(files, JsonUserDefaults::standardFile());
    return std::make_shared<SettingsStore>(defaults);
}

/// Prints what `text` makes of the latest snapshot.
ExitStatus printSnapshot(const Invocation& invocation, const std::function<std::string(const SnapshotReply&)>& text) {
    const auto reply = HelperClient(invocation.port).snapshot();
    if (const auto* error = std::get_if<HelperError>(&reply)) return complain(error->message, error->status);
    return printed(text(std::get<SnapshotReply>(reply)));
}

void declareStatus(CLI::App& app, Invocation& invocation) {
    auto* command = app.add_subcommand("status", "The machine at a glance");
    auto json = std::make_shared<bool>(false);
    command->add_flag("--json", *json, "Print the decoded snapshot as one line of JSON");
    command->footer("Example: zephlon status --json | jq .memory.usedBytes");
    command->callback([&invocation, json] {
        invocation.command = [&invocation, json] {
            return printSnapshot(invocation, [&](const SnapshotReply& reply) {
                return *json ? statusJson(reply) : statusText(reply, *readSettings(), Style(wantsColour()));
            });
        };
    });
}

void declareTop(CLI::App& app, Invocation& invocation) {
    struct Options {
        std::string category;
        std::size_t count = 10;
    };
    auto* command = app.add_subcommand("top", "The processes that take most of one resource");
    auto options = std::make_shared<Options>();
    const auto& names = RawValues<ProcessCategory>::texts;
    command->add_option("CATEGORY", options->category, "cpu, gpu, memory, disk, network or power")
        ->required()
        ->check(CLI::IsMember(std::vector<std::string>(names.begin(), names.end())));
    command->add_option("--count", options->count, "Rows at most")->check(CLI::Range(1, 10))->capture_default_str();
    command->footer("Example: zephlon top memory --count 3");
    command->callback([&invocation, options] {
        invocation.command = [&invocation, options] {
            return printSnapshot(invocation, [&](const SnapshotReply& reply) {
                return rankingText(reply, *fromRawValue<ProcessCategory>(options->category), options->count,
                                   Style(wantsColour()));
            });
        };
    });
}

void declareDiagnostics(CLI::App& app, Invocation& invocation) {
    constexpr Seconds reportPatience(30);  // an upload may take ten, and others may be before it
    auto* command = app.add_subcommand("diagnostics", "The report on what the helper can read on this machine");
    auto send = std::make_shared<bool>(false);
    command->add_flag("--send", *send, "Have the helper send a fresh report to its makers instead of printing it");
    command->callback([&invocation, send, reportPatience] {
        invocation.command = [&invocation, send, reportPatience] {
            const HelperClient helper(invocation.port);
            const auto body = helper.get(*send ? "/api/diagnostics/report" : "/api/diagnostics", reportPatience);
            if (const auto* error = std::get_if<HelperError>(&body)) return complain(error->message, error->status);
            const std::string& text = std::get<std::string>(body);
            if (!*send) return printed(text + '\n');
            const auto problem = uploadProblem(text);
            if (problem) return complain("the report was not sent: " + *problem, ExitStatus::failure);
            return printed("The report was sent.\n");
        };
    });
}

int run(int argc, char** argv) {
    std::setlocale(LC_CTYPE, "");
    ignoreWriteSignals();
    Invocation invocation;
    CLI::App app("Shows what ZQMHelper, which must be running, knows of this machine.", "zephlon");
    app.set_version_flag("--version", "zephlon " ZQM_VERSION);
    app.add_option("--port", invocation.port, "Port on 127.0.0.1 on which the helper serves")
        ->check(CLI::Range(1, 65535))
        ->capture_default_str();
    app.require_subcommand(1);
    app.fallthrough();
    app.footer(
        "Exit status: 0 done, 1 not done, 2 usage, 3 no helper, 4 helper silent, 5 token refused, 6 other version.");
    declareStatus(app, invocation);
    declareTop(app, invocation);
    declareDiagnostics(app, invocation);
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
