#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cstdio>
#include <functional>
#include <string>

#include "Client/BarFollow.h"
#include "Client/BarWriter.h"
#include "Client/Defaults.h"
#include "Client/ExitStatus.h"
#include "Client/Exporter.h"
#include "Client/Exposition.h"
#include "Client/HelperClient.h"
#include "Client/Status.h"
#include "Client/Terminal.h"
#include "Client/Watch/Watch.h"
#include "Platform/Posix/AsioListener.h"
#include "Platform/Posix/AsioMainLoop.h"
#include "Platform/Posix/JsonUserDefaults.h"
#include "Platform/Posix/PosixFiles.h"
#include "Platform/Posix/PosixLog.h"
#include "Platform/Posix/PosixProcess.h"
#include "Platform/Posix/ThreadQueues.h"

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

/// A reader that has seen enough, as `head`, needs no word about it.
ExitStatus cannotWrite() {
    return errno == EPIPE ? ExitStatus::failure : complain("cannot write the output", ExitStatus::failure);
}

ExitStatus printed(const std::string& text) {
    return printOut(text) ? ExitStatus::success : cannotWrite();
}

JsonUserDefaults& userDefaults() {
    static PosixFiles files;
    static JsonUserDefaults defaults(files, JsonUserDefaults::standardFile());
    return defaults;
}

/// The user's preferences as the helper would read them at its next start.
std::shared_ptr<SettingsStore> readSettings() {
    return std::make_shared<SettingsStore>(userDefaults());
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

constexpr const char* barFooter =
    R"help(The preferences choose the metrics, their order, units, gaps and language: see zephlon defaults.
Gaps are points: in text a blank stands for 3 of them, i3bar takes them as pixels.
Examples:
  waybar   "custom/zephlon": {"exec": "zephlon bar --format waybar --follow", "return-type": "json"}
  i3bar    status_command zephlon bar --format i3bar --follow        (also swaybar)
  tmux     set -g status-right "#(zephlon bar --format tmux --follow)"
  others   zephlon bar --follow, or zephlon bar --format json --follow | your-program)help";

void declareBar(CLI::App& app, Invocation& invocation) {
    struct Options {
        std::string format = "plain";
        bool isFollowing = false;
    };
    auto* command = app.add_subcommand("bar", "One line for a status bar");
    auto options = std::make_shared<Options>();
    const auto& names = RawValues<BarFormat>::texts;
    command->add_option("--format", options->format, "plain, waybar, i3bar, tmux or json")
        ->check(CLI::IsMember(std::vector<std::string>(names.begin(), names.end())))
        ->capture_default_str();
    command->add_flag("--follow", options->isFollowing, "A line for each sample, as long as someone reads");
    command->footer(barFooter);
    command->callback([&invocation, options] {
        invocation.command = [&invocation, options] {
            const auto settings = readSettings();
            BarWriter writer(*fromRawValue<BarFormat>(options->format), *settings);
            if (!options->isFollowing) {
                return printSnapshot(
                    invocation, [&](const SnapshotReply& reply) { return writer.line(reply.snapshot) + writer.end(); });
            }
            const auto status = followBar(HelperClient(invocation.port), writer, Seconds(settings->updateInterval()));
            return status == ExitStatus::success ? status : complain("cannot write the output", status);
        };
    });
}

void declareMetrics(CLI::App& app, Invocation& invocation) {
    auto* command = app.add_subcommand("metrics", "The snapshot in the text format of Prometheus");
    auto file = std::make_shared<std::string>();
    command->add_option("--output", *file, "Replace FILE whole, for the textfile collector of node_exporter")
        ->option_text("FILE");
    command->footer(
        "A helper that does not answer makes it \"zqm_up 0\" alone, so that no old figure passes for a new one.\n"
        "Example: zephlon metrics --output /var/lib/prometheus/node-exporter/zqm.prom");
    command->callback([&invocation, file] {
        invocation.command = [&invocation, file] {
            const HelperAnswer answer = HelperClient(invocation.port).snapshot();
            const std::string text = exposition(answer);
            if (file->empty() && !printOut(text)) return cannotWrite();
            const auto problem = file->empty() ? std::nullopt : PosixFiles().replacePublic(*file, text);
            if (problem) return complain("cannot write " + *problem, ExitStatus::failure);
            const auto* error = std::get_if<HelperError>(&answer);
            return error ? complain(error->message, error->status) : ExitStatus::success;
        };
    });
}

void declareWatch(CLI::App& app, Invocation& invocation) {
    auto* command = app.add_subcommand("watch", "The machine live, full screen");
    command->footer("Keys: q quits; the arrows, Tab and 1 to 6 choose rankings; Ctrl-L draws anew.");
    command->callback([&invocation] {
        invocation.command = [&invocation] {
            const auto error = watch(invocation.port, *readSettings());
            return error ? complain(error->message, error->status) : ExitStatus::success;
        };
    });
}

/// Stores a preference, or takes it back to its default without a value.
ExitStatus storePreference(const std::string& key, const std::optional<std::string>& text) {
    std::optional<DefaultsValue> value;
    if (text) {
        auto parsed = parsePreference(key, *text);
        if (auto* error = std::get_if<PreferenceError>(&parsed)) return complain(error->message, ExitStatus::usage);
        value = std::get<DefaultsValue>(std::move(parsed));
    } else if (!preferenceText(*readSettings(), key)) {
        return complain(unknownPreference(key), ExitStatus::usage);
    }
    if (const auto problem = userDefaults().store(key, value)) {
        return complain("cannot store the preferences: " + *problem, ExitStatus::failure);
    }
    return printed(std::string(text ? "Stored" : "Deleted") +
                   ". The helper and a bar that runs read it at their next start.\n");
}

ExitStatus printPreferences(const std::string& key) {
    const auto settings = readSettings();
    if (key.empty()) return printed(preferencesText(*settings, userDefaults()));
    const auto text = preferenceText(*settings, key);
    return text ? printed(*text + '\n') : complain(unknownPreference(key), ExitStatus::usage);
}

void declareDefaults(CLI::App& app, Invocation& invocation) {
    struct Options {
        std::string key;
        std::string value;
    };
    auto* command = app.add_subcommand("defaults", "The preferences: reads them all, or what follows");
    auto options = std::make_shared<Options>();
    auto* read = command->add_subcommand("read", "Print a preference, or all of them");
    read->add_option("KEY", options->key, "Its name");
    auto* write = command->add_subcommand("write", "Store a preference");
    write->add_option("KEY", options->key, "Its name")->required();
    write->add_option("VALUE", options->value, "A number, true or false, a word, or words separated by commas")
        ->required();
    auto* remove = command->add_subcommand("delete", "Return a preference to its default");
    remove->add_option("KEY", options->key, "Its name")->required();
    command->require_subcommand(0, 1);
    command->footer("Example: zephlon defaults write enabledMetrics cpuUsage,memoryUsage,clock");
    command->callback([&invocation, options, write, remove] {
        invocation.command = [options, write, remove] {
            if (write->parsed()) return storePreference(options->key, options->value);
            if (remove->parsed()) return storePreference(options->key, std::nullopt);
            return printPreferences(options->key);
        };
    });
}

ExitStatus serveMetrics(std::uint16_t helperPort, const ListenAddress& address) {
    raiseDescriptorLimit();
    shareOneHeap();
    PosixLog log;
    AsioMainLoop mainLoop;
    ThreadQueues queues;
    AsioNetworkListener listener(address.host);
    const auto ask = [helper = HelperClient(helperPort)]() -> HelperAnswer { return helper.snapshot(); };
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
