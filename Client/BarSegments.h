#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ZQMHelper/Shared/Metrics.h"
#include "ZQMHelper/Shared/SettingsStore.h"

namespace zqm {

/// What one metric shows in a bar.
struct BarFigure {
    std::string text;
    /// The numbers behind the text in the snapshot's units; several are told apart by their names there.
    std::vector<std::pair<std::string_view, double>> values;
    std::optional<double> fullness = std::nullopt;  // 0–1: how close to its limit, where there is one
    std::string detail = {};                        // more, for who asks; may be empty
};

struct BarSegment {
    std::string_view name;  // a metric's, or "age"
    std::string_view label;
    BarFigure figure;
};

/// The enabled metrics in the user's order, units and language; each once, without those that the machine does not
/// have. Before those of an old sample stands its age in seconds.
std::vector<BarSegment> barSegments(const SystemSnapshot& snapshot, const SettingsStore& settings, WallTime now);

/// The word in the user's language.
std::string_view inLanguage(const SettingsStore& settings, std::string_view chinese, std::string_view english);

}  // namespace zqm
