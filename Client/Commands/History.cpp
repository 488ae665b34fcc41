#include <CLI/CLI.hpp>
#include <algorithm>

#include "Client/Commands/Commands.h"
#include "Client/History/HistorySource.h"
#include "Client/History/HistoryText.h"
#include "Client/History/Tracks.h"
#include "Client/Nearest.h"
#include "Client/Terminal.h"
#include "Client/Texts.h"
#include "Client/Units.h"

namespace zqm {
namespace {

constexpr std::size_t usualColumns = 80;

struct Options {
    std::string metric;  // empty: all
    std::string last = "10m";
    std::string format = "text";
};

bool isCore(std::string_view metric) {
    return metric.starts_with("core.") && metric.find_first_not_of("0123456789", 5) == metric.npos;
}

/// Why there is no such metric; empty where there is.
std::string metricFault(const std::string& metric) {
    if (metric.empty() || isCore(metric) || fromRawValue<Track>(metric)) return {};
    const auto& names = RawValues<Track>::texts;
    const std::string meant = nearest(metric, std::vector<std::string>(names.begin(), names.end()));
    return meant.empty() ? said("there is no metric \"{}\"; zephlon history --help lists them", metric)
                         : said("there is no metric \"{}\"; did you mean {}?", metric, meant);
}

ExitStatus printHistory(std::uint16_t port, const Options& options) {
    if (const std::string fault = metricFault(options.metric); !fault.empty()) {
        return complain(fault, ExitStatus::usage);
    }
    const auto span = parseSpan(options.last);
    if (!span) return complain(said("--last takes a time such as 90s, 10m, 6h or 3d, at most 14d"), ExitStatus::usage);
    const auto now = static_cast<std::uint32_t>(std::max(wallTimeNow().time_since_epoch().count(), 0.0));
    const HistoryRows rows = isCore(options.metric) ? HistoryRows::cores : HistoryRows::figures;
    const auto past = pastBetween(port, now - std::min(now, *span - 1), now, rows);
    if (!past) {
        return complain(said("there is no history of that time: it is kept while zephlon web runs"),
                        ExitStatus::failure);
    }
    HistoryChoice choice{*past, {}};
    const auto& names = past->shape.names;
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (options.metric.empty() || names[i] == options.metric) choice.tracks.push_back(i);
    }
    if (choice.tracks.empty()) {
        return complain(said("this machine has told nothing of {}", options.metric), ExitStatus::failure);
    }
    switch (*fromRawValue<HistoryFormat>(options.format)) {
        case HistoryFormat::csv:
            return printed(historyCsv(choice));
        case HistoryFormat::json:
            return printed(historyJson(choice));
        case HistoryFormat::text:
            break;
    }
    return printed(shownText(historyText(choice, *readSettings(), terminalColumns().value_or(usualColumns),
                                         isUtf8Shown() ? Glyphs::braille : Glyphs::ascii)));
}

}  // namespace

void declareHistory(CLI::App& app, Invocation& invocation) {
    auto* command = app.add_subcommand("history", "What was, as zephlon web has kept it");
    auto options = std::make_shared<Options>();
    std::string names;
    for (const std::string_view name : RawValues<Track>::texts) names += std::string(name) + ",";
    command->add_option("METRIC", options->metric, "core.0 is the first processor; all but processors without it")
        ->option_text("NAME:{" + names + "core.0}");
    command->add_option("--last", options->last, "How far back: a number and s, m, h or d, at most 14d")
        ->capture_default_str();
    const auto& formats = RawValues<HistoryFormat>::texts;
    command->add_option("--format", options->format, "Curves for people, or a line for each time, or one of JSON")
        ->check(CLI::IsMember(std::vector<std::string>(formats.begin(), formats.end())))
        ->capture_default_str();
    command->footer(
        "An hour is kept by the second, a day by the minute, a fortnight by the quarter of an hour (mean, "
        "least, greatest),\nsingle processors for an hour.\n"
        "Example: zephlon history cpu --last 6h --format csv");
    command->callback([&invocation, options] {
        invocation.command = [&invocation, options] { return printHistory(invocation.port, *options); };
    });
}

}  // namespace zqm
