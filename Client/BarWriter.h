#pragma once

#include <string>

#include "Client/BarFormats.h"

namespace zqm {

struct BarOptions {
    BarFormat format = BarFormat::plain;
    std::vector<MenuBarMetric> metrics = {};  // empty: what the preferences enable
    BarLabel label = BarLabel::text;
    Limits limits = usualLimits;
    bool isFollowing = false;  // levels then rise only after three samples
};

/// Writes each sample as one line for one kind of bar.
class BarWriter {
public:
    explicit BarWriter(BarOptions options) : options_(std::move(options)) {}

    std::string line(const SystemSnapshot& snapshot, const SettingsStore& settings, WallTime now);
    /// What stands in the bar while the helper gives no sample.
    std::string line(const HelperError& error);
    /// What completes the output after the last line.
    std::string end() const;

private:
    const Levels& levelsOf(const SystemSnapshot& snapshot);
    std::string framed(const BarContent& content);

    const BarOptions options_;
    LevelTrail trail_;
    Levels levels_;
    WallTime judged_ = WallTime::min();  // the sample that they are of
    bool isFirst_ = true;
};

}  // namespace zqm
