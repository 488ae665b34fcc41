#include "Client/Commands/Commands.h"

#include <CLI/CLI.hpp>

#include "Client/BarFollow.h"
#include "Client/BarWriter.h"
#include "Client/Defaults.h"
#include "Client/Exposition.h"
#include "Client/HelperClient.h"
#include "Client/Status.h"
#include "Client/Terminal.h"
#include "Client/Texts.h"
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

constexpr Phrase measuredNote = "counted by the cards' drivers for a second, of the processes that you may look into";
constexpr Phrase estimateNote = "estimated from processor time: no driver counts for processes that you may look into";

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

struct BarWords {
    std::string format = "plain";
    std::string metrics;
    std::string label = "text";
    std::string levels;
    bool isFollowing = false;
};

template <class Enum>
CLI::IsMember oneOf() {
    const auto& names = RawValues<Enum>::texts;
    return CLI::IsMember(std::vector<std::string>(names.begin(), names.end()));
}

template <class Enum>
std::string joinedNames() {
    std::string names;
    for (const std::string_view name : RawValues<Enum>::texts) {
        if (!names.empty()) names += ',';
        names += name;
    }
    return names;
}

/// What the words ask for, or what is wrong with them.
std::variant<BarOptions, std::string> barOptions(const BarWords& words) {
    BarOptions options{.format = *fromRawValue<BarFormat>(words.format),
                       .label = *fromRawValue<BarLabel>(words.label),
                       .isFollowing = words.isFollowing};
    const auto metrics = parseMetrics(words.metrics);
    if (!metrics) return said("--metrics takes names, separated by commas, of {}", joinedNames<MenuBarMetric>());
    options.metrics = *metrics;
    const auto limits = parseLimits(words.levels);
    if (!limits) {
        return said("--levels takes NAME=WARNING,CRITICAL, in percent or °C, separated by commas, of {}",
                    joinedNames<Limited>());
    }
    options.limits = *limits;
    if (words.isFollowing && (options.format == BarFormat::xbar || options.format == BarFormat::genmon))
        return said("{} runs the command again and again itself: leave out --follow", words.format);
    return options;
}

/// One line, also when the helper gives no sample: what stands in a bar is all that most people see of it.
ExitStatus printBar(const Invocation& invocation, BarWriter& writer) {
    const auto settings = readSettings();
    const auto reply = HelperClient(invocation.port).snapshot();
    const auto* error = std::get_if<HelperError>(&reply);
    const std::string line =
        error ? writer.line(*error) : writer.line(std::get<SnapshotReply>(reply).snapshot, *settings, wallTimeNow());
    const ExitStatus status = printed(line + writer.end());
    return error ? complain(error->message, error->status) : status;
}

constexpr const char* statusFooter =
    R"help(Load is the greatest of processor use, GPU use, and power as a share of the most seen so far (5 W at least).
Memory used = app + wired + compressed: wired is held by the kernel or locked, compressed is what compressed pages take,
app is the rest; what may be dropped is not used. Pressure: programs wait for memory.
Example: zephlon status --json | jq .memory.usedBytes)help";

constexpr const char* barFooter =
    R"help(What is not given here the preferences choose, which are read again when they change: see zephlon defaults.
Limits of --levels are in percent and degrees Celsius; without it temperature=85,95,memory=90,97,battery=20,10.
Examples:
  waybar    "custom/zephlon": {"exec": "zephlon bar --format waybar --follow", "return-type": "json"}
  i3bar     status_command zephlon bar --format i3bar --follow        (also swaybar)
  tmux      set -g status-right "#(zephlon bar --format tmux --metrics loadIndex,cpuUsage,memoryUsage --follow)"
  polybar   type = custom/script, exec = zephlon bar --format polybar --follow, tail = true
  i3status-rust   block = "custom", command = "zephlon bar --format i3status-rust --follow", json = true,
            persistent = true
  genmon    zephlon bar --format genmon        (again and again, as its panel asks)
  xbar, Argos   a plugin of two lines: #!/bin/sh and exec zephlon bar --format xbar
  others    zephlon bar --follow, or zephlon bar --format json --follow | your-program)help";

}  // namespace

void declareStatus(CLI::App& app, Invocation& invocation) {
    auto* command = app.add_subcommand("status", "The machine at a glance");
    auto json = std::make_shared<bool>(false);
    auto all = std::make_shared<bool>(false);
    auto* const jsonFlag = command->add_flag("--json", *json, "Print the decoded snapshot as one line of JSON");
    command->add_flag("--all", *all, "Each drive, interface, sensor and fan as well; takes a second")
        ->excludes(jsonFlag);
    command->footer(statusFooter);
    command->callback([&invocation, json, all] {
        invocation.command = [&invocation, json, all] {
            return printSnapshot(invocation, [&](const SnapshotReply& reply) {
                if (*json) return statusJson(reply);
                ThisMachine machine(invocation.root);
                const auto facts = *all ? machine.allFactsBeside(reply.snapshot) : machine.factsBeside(reply.snapshot);
                const std::string text =
                    statusText(reply, facts ? &*facts : nullptr, *readSettings(), Style(wantsColour()), wallTimeNow());
                const auto columns = terminalColumns();
                return shownText(columns ? broken(text, *columns, statusIndent) : text);
            });
        };
    });
}

void declareTop(CLI::App& app, Invocation& invocation) {
    struct Options {
        std::string category;
        std::size_t count = 0;  // none given
    };
    auto* command = app.add_subcommand("top", "The processes that take most of one resource");
    auto options = std::make_shared<Options>();
    command->add_option("CATEGORY", options->category, "cpu, gpu, memory, disk, network or power")
        ->required()
        ->check(oneOf<ProcessCategory>());
    command
        ->add_option("--count", options->count,
                     "Rows at most, without it the preference topProcessCount if stored, else 10")
        ->check(CLI::Range(1, 10));
    command->footer("Example: zephlon top memory --count 3");
    command->callback([&invocation, options] {
        invocation.command = [&invocation, options] {
            return printSnapshot(invocation, [&](SnapshotReply reply) {
                ThisMachine(invocation.root).dropEnded(reply);
                const Style style(wantsColour());
                const std::size_t rows = options->count > 0 ? options->count : rankingRows();
                const auto category = *fromRawValue<ProcessCategory>(options->category);
                const auto measured =
                    category == ProcessCategory::gpu ? graphicsRanking(invocation, reply.snapshot) : std::nullopt;
                std::string text = rankingText(measured ? *measured : reply.ranking(category), category, rows, style);
                if (category == ProcessCategory::gpu)
                    text += style.dim(said(measured ? measuredNote : estimateNote)) + '\n';
                return shownText(std::move(text));
            });
        };
    });
}

void declareBar(CLI::App& app, Invocation& invocation) {
    auto* command = app.add_subcommand("bar", "One line for a status bar");
    auto words = std::make_shared<BarWords>();
    command->add_option("--format", words->format, "Who reads the line")
        ->check(oneOf<BarFormat>())
        ->capture_default_str();
    command->add_option("--metrics", words->metrics, "In place of those that the preferences enable, in this order")
        ->option_text("NAME[,NAME...]:{" + joinedNames<MenuBarMetric>() + "}");
    command->add_option("--label", words->label, "What stands before each figure")
        ->check(oneOf<BarLabel>())
        ->capture_default_str();
    command
        ->add_option("--levels", words->levels,
                     "From where on a figure warns and is critical: " + joinedNames<Limited>())
        ->option_text("NAME=N,N[,NAME=N,N...]");
    command->add_flag("--follow", words->isFollowing, "A line for each sample, as long as someone reads");
    command->footer(barFooter);
    command->callback([&invocation, words] {
        invocation.command = [&invocation, words] {
            const auto options = barOptions(*words);
            if (const auto* problem = std::get_if<std::string>(&options)) return complain(*problem, ExitStatus::usage);
            BarWriter writer(std::get<BarOptions>(options));
            if (!words->isFollowing) return printBar(invocation, writer);
            const auto status = followBar(HelperClient(invocation.port), writer, readSettings);
            return status == ExitStatus::success ? status : complain(said("cannot write the output"), status);
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
            if (problem) return complain(said("cannot write {}", *problem), ExitStatus::failure);
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
            const auto error = watch(invocation.port, invocation.root, *readSettings(), rankingRows());
            return error ? complain(error->message, error->status) : ExitStatus::success;
        };
    });
}

}  // namespace zqm
