#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Client/Levels.h"
#include "ZQMHelper/Shared/Metrics.h"
#include "ZQMHelper/Shared/SettingsStore.h"

namespace zqm {

/// As wide as a digit in every font. It fills figures, so that nothing beside them moves when 9 becomes 10 %.
constexpr std::string_view figureSpace = "\u2007";
/// The text without such fillings.
std::string compact(std::string_view text);

/// What one metric shows in a bar.
struct BarFigure {
    std::string text;  // filled with figure spaces to its usual width
    /// The numbers behind the text in the snapshot's units; several are told apart by their names there.
    std::vector<std::pair<std::string_view, double>> values;
    Level level = Level::normal;
    std::optional<double> share = std::nullopt;  // 0–1, of what has a whole
    std::string detail = {};                     // more, for who asks; may be empty
};

struct BarSegment {
    std::string_view name;  // a metric's, or "age"
    std::string label;
    std::string_view icon;
    BarFigure figure;
};

/// The metrics that the preferences enable, in their order, each once.
std::vector<MenuBarMetric> enabledInOrder(const SettingsStore& settings);

/// The metrics in the user's units and language, without those that the machine does not have. Before those of an old
/// sample stands its age in seconds.
std::vector<BarSegment> barSegments(const SystemSnapshot& snapshot, const SettingsStore& settings,
                                    const std::vector<MenuBarMetric>& metrics, const Levels& levels, WallTime now);

}  // namespace zqm
