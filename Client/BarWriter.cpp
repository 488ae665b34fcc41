#include "Client/BarWriter.h"

#include <utility>

#include "Client/Terminal.h"
#include "Client/Texts.h"

namespace zqm {
namespace {

std::string shortText(const HelperError& error) {
    if (error.isStarting) return said("no sample yet");
    switch (error.status) {
        case ExitStatus::helperSilent:
            return said("helper silent");
        case ExitStatus::tokenRefused:
            return said("helper refuses");
        case ExitStatus::otherVersion:
            return said("helper of another version");
        default:
            return said("helper away");
    }
}

std::vector<MenuBarMetric> allMetrics() {
    constexpr auto all = allCases<MenuBarMetric>();
    return {all.begin(), all.end()};
}

}  // namespace

std::string BarWriter::line(const SystemSnapshot& snapshot, const SettingsStore& settings, WallTime now) {
    const Levels& levels = levelsOf(snapshot);
    const auto metrics = options_.metrics.empty() ? enabledInOrder(settings) : options_.metrics;
    return framed({.label = options_.label,
                   .iconTextGap = settings.iconTextGap(),
                   .segmentGap = settings.segmentGap(),
                   .segments = barSegments(snapshot, settings, metrics, levels, now),
                   .more = barSegments(snapshot, settings, allMetrics(), levels, now),
                   .timestamp = snapshot.timestamp});
}

std::string BarWriter::line(const HelperError& error) {
    const BarSegment segment{"helper", "", "", {shortText(error), {}, Level::critical, {}, printable(error.message)}};
    return framed({.segments = {segment}, .more = {segment}, .status = error.status});
}

std::string BarWriter::end() const {
    return options_.format == BarFormat::i3bar ? "]\n" : "";
}

/// An old sample is written again and again while its age grows.
const Levels& BarWriter::levelsOf(const SystemSnapshot& snapshot) {
    if (std::exchange(judged_, snapshot.timestamp) == snapshot.timestamp) return levels_;
    const Levels latest(snapshot, options_.limits);
    return levels_ = options_.isFollowing ? trail_.add(latest) : latest;
}

/// i3bar reads a header and then one array that need not end.
std::string BarWriter::framed(const BarContent& content) {
    const bool isFirst = std::exchange(isFirst_, false);
    const std::string_view before = options_.format != BarFormat::i3bar ? "" : isFirst ? "{\"version\":1}\n[\n" : ",";
    return std::string(before) + barText(content, options_.format) + '\n';
}

}  // namespace zqm
