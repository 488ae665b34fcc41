#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Client/BarSegments.h"
#include "Client/HelperClient.h"

namespace zqm {

/// Who reads the line.
enum class BarFormat { plain, waybar, i3bar, tmux, json, polybar, xbar, i3statusRust, genmon };
template <>
struct RawValues<BarFormat> {
    static constexpr std::array<std::string_view, 9> texts{"plain",   "waybar", "i3bar",         "tmux",  "json",
                                                           "polybar", "xbar",   "i3status-rust", "genmon"};
};

enum class BarLabel { none, icon, text };
template <>
struct RawValues<BarLabel> {
    static constexpr std::array<std::string_view, 3> texts{"none", "icon", "text"};
};

/// What a line is made of.
struct BarContent {
    BarLabel label = BarLabel::text;
    double iconTextGap = 3;  // points
    double segmentGap = 6;
    std::vector<BarSegment> segments = {};
    std::vector<BarSegment> more = {};                 // of every metric, for a menu
    std::optional<WallTime> timestamp = std::nullopt;  // none: the helper gives no sample, and `segments` says why
    ExitStatus status = ExitStatus::success;           // of the helper's silence
};

/// The line in the form that its reader wants, without a line feed at its end.
///
/// The gaps are points: in text a blank stands for three of them, rounded, one blank at least. i3bar separates blocks
/// itself and is given the points as pixels; the readers of JSON are given the points.
std::string barText(const BarContent& content, BarFormat format);

}  // namespace zqm
