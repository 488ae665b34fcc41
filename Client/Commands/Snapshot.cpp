#include "Client/Commands/Commands.h"

#include <CLI/CLI.hpp>

#include "Client/BarFollow.h"
#include "Client/BarWriter.h"
#include "Client/Exposition.h"
#include "Client/HelperClient.h"
#include "Client/Status.h"
#include "Client/Terminal.h"
#include "Client/ThisMachine.h"
#include "Client/Units.h"
#include "Client/Watch/Watch.h"
#include "Platform/Posix/PosixClock.h"
#include "Platform/Posix/PosixFiles.h"

namespace zqm {
namespace {

/// Prints what `text` makes of the latest snapshot.
ExitStatus printSnapshot(const Invocation& invocation, const std::function<std::string(const SnapshotReply&)>& text) {
    const auto reply = HelperClient(invocation.port).snapshot();
    if (const auto* error = std::get_if<HelperError>(&reply)) return complain(error->message, error->status);
    return printed(text(std::get<SnapshotReply>(reply)));
}

constexpr const char* measuredNote =
    "counted by the cards' drivers for a second, of the processes that you may look into";
constexpr const char* estimateNote =
    "estimated from processor time: no driver counts for processes that you may look into";

/// What the drivers count for a second; nullopt where they do not, or the helper's machine is another one.
std::optional<std::vector<TopProcess>> graphicsRanking(const Invocation& invocation, const SystemSnapshot& sample) {
    ThisMachine machine(invocation.root);
    MachineDetails* const details = machine.detailsBeside(sample);
    GraphicsRanking ranking;
    if (details) ranking.look(*details);
    if (!ranking.hasCounters()) return std::nullopt;
    PosixClock().sleep(Seconds(1));
    return ranking.look(*details);
}

constexpr const char* barFooter =
    R"help(The preferences choose the metrics, their order, units, gaps and language: see zephlon defaults.
Gaps are points: in text a blank stands for 3 of them, i3bar takes them as pixels.
Examples:
  waybar   "custom/zephlon": {"exec": "zephlon bar --format waybar --follow", "return-type": "json"}
  i3bar    status_command zephlon bar --format i3bar --follow        (also swaybar)
  tmux     set -g status-right "#(zephlon bar --format tmux --follow)"
  others   zephlon bar --follow, or zephlon bar --format json --follow | your-program)help";

}  // namespace

void declareStatus(CLI::App& app, Invocation& invocation) {
    auto* command = app.add_subcommand("status", "The machine at a glance");
    auto json = std::make_shared<bool>(false);
    auto all = std::make_shared<bool>(false);
    auto* const jsonFlag = command->add_flag("--json", *json, "Print the decoded snapshot as one line of JSON");
    command->add_flag("--all", *all, "Each drive, interface, sensor and fan as well; takes a second")
        ->excludes(jsonFlag);
    command->footer("Example: zephlon status --json | jq .memory.usedBytes");
    command->callback([&invocation, json, all] {
        invocation.command = [&invocation, json, all] {
            return printSnapshot(invocation, [&](const SnapshotReply& reply) {
                if (*json) return statusJson(reply);
                PosixClock clock;
                ThisMachine machine(invocation.root);
                const auto facts =
                    *all ? machine.allFactsBeside(reply.snapshot, clock) : machine.factsBeside(reply.snapshot);
                const std::string text =
                    statusText(reply, facts ? &*facts : nullptr, *readSettings(), Style(wantsColour()), wallTimeNow());
                const auto columns = terminalColumns();
                return columns ? broken(text, *columns, statusIndent) : text;
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
            return printSnapshot(invocation, [&](SnapshotReply reply) {
                ThisMachine(invocation.root).dropEnded(reply);
                const Style style(wantsColour());
                const auto category = *fromRawValue<ProcessCategory>(options->category);
                const auto measured =
                    category == ProcessCategory::gpu ? graphicsRanking(invocation, reply.snapshot) : std::nullopt;
                std::string text =
                    rankingText(measured ? *measured : reply.ranking(category), category, options->count, style);
                if (category == ProcessCategory::gpu) text += style.dim(measured ? measuredNote : estimateNote) + '\n';
                return text;
            });
        };
    });
}

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
                return printSnapshot(invocation, [&](const SnapshotReply& reply) {
                    return writer.line(reply.snapshot, wallTimeNow()) + writer.end();
                });
            }
            const auto status = followBar(HelperClient(invocation.port), writer, Seconds(settings->updateInterval()));
            return status == ExitStatus::success ? status : complain("cannot write the output", status);
        };
    });
}

void declareMetrics(CLI::App& app, Invocation& invocation) {
    auto* command =
        app.add_subcommand("metrics", "The snapshot, and what this machine adds, in the text format of Prometheus");
    auto file = std::make_shared<std::string>();
    command->add_option("--output", *file, "Replace FILE whole, for the textfile collector of node_exporter")
        ->option_text("FILE");
    command->footer(
        "A helper that does not answer, or with an old sample, makes it \"zqm_up 0\" alone, so that no old figure "
        "passes\n"
        "for a new one.\n"
        "Example: zephlon metrics --output /var/lib/prometheus/node-exporter/zqm.prom");
    command->callback([&invocation, file] {
        invocation.command = [&invocation, file] {
            const Seconds interval(readSettings()->updateInterval());
            HelperAnswer answer = HelperClient(invocation.port).freshSnapshot(interval);
            PosixClock clock;
            auto* const reply = std::get_if<SnapshotReply>(&answer);
            if (reply) ThisMachine(invocation.root).dropEnded(*reply);
            const auto machine =
                reply ? MachineFiguresReader(invocation.root, clock).look(reply->snapshot) : std::nullopt;
            const std::string text = exposition(answer, {.machine = machine ? &*machine : nullptr});
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
    command->footer("Keys: q quits; ? shows the others.");
    command->callback([&invocation] {
        invocation.command = [&invocation] {
            const auto error = watch(invocation.port, invocation.root, *readSettings());
            return error ? complain(error->message, error->status) : ExitStatus::success;
        };
    });
}

}  // namespace zqm
