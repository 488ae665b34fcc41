#pragma once

#include <string>

#include "Client/BarSegments.h"
#include "Client/HelperClient.h"

namespace zqm {

/// Who reads the line.
enum class BarFormat { plain, waybar, i3bar, tmux, json };
template <>
struct RawValues<BarFormat> {
    static constexpr std::array<std::string_view, 5> texts{"plain", "waybar", "i3bar", "tmux", "json"};
};

/// Writes each sample as one line for one kind of bar.
///
/// The preferences' gaps are points. In text a blank stands for three of them, rounded, one blank at least: by default
/// one blank between label and text, two between segments. i3bar separates blocks itself and is given the points as
/// pixels; the readers of JSON are given the points.
///
/// A figure's level is "normal", "warning" from 60 % of its limit or "critical" from 85 %: a colour for i3bar and tmux,
/// for waybar the class, of the worst of them ("away" without a sample), beside the load index as its percentage.
class BarWriter {
public:
    BarWriter(BarFormat format, const SettingsStore& settings) : format_(format), settings_(settings) {}

    std::string line(const SystemSnapshot& snapshot, WallTime now);
    /// What stands in the bar while the helper gives no sample.
    std::string line(const HelperError& error);
    /// What completes the output after the last line.
    std::string end() const;

private:
    std::string framed(std::string line);
    std::string blanks(double points) const;
    std::string joined(const std::vector<BarSegment>& segments, std::string (*escape)(std::string_view)) const;
    std::string waybar(const SystemSnapshot& snapshot, const std::vector<BarSegment>& segments) const;
    std::string i3bar(const std::vector<BarSegment>& segments) const;
    std::string json(const SystemSnapshot& snapshot, const std::vector<BarSegment>& segments) const;

    const BarFormat format_;
    const SettingsStore& settings_;
    bool isFirst_ = true;
};

}  // namespace zqm
