#pragma once

#include <cstdint>
#include <set>
#include <vector>

#include "Platform/Platform.h"
#include "ZQMHelper/Shared/L10n.h"
#include "ZQMHelper/Shared/Observation.h"

namespace zqm {

/// What the menu bar can show.
enum class MenuBarMetric {
    loadIndex,
    cpuUsage,
    cpuFreq,
    gpuUsage,
    gpuFreq,
    memoryUsage,
    network,
    disk,
    power,
    clock,
    battery
};
template <>
struct RawValues<MenuBarMetric> {
    static constexpr std::array<std::string_view, 11> texts{"loadIndex", "cpuUsage",    "cpuFreq", "gpuUsage",
                                                            "gpuFreq",   "memoryUsage", "network", "disk",
                                                            "power",     "clock",       "battery"};
};

enum class TempUnit { celsius, fahrenheit, kelvin };
template <>
struct RawValues<TempUnit> {
    static constexpr std::array<std::string_view, 3> texts{"celsius", "fahrenheit", "kelvin"};
};

enum class FreqUnit { ghz, mhz };
template <>
struct RawValues<FreqUnit> {
    static constexpr std::array<std::string_view, 2> texts{"ghz", "mhz"};
};

/// The user's preferences, read once from the user defaults when the store is made; keys are the properties' names.
/// What is absent, of another type or unknown takes the default. Of these the helper itself uses only `updateInterval`
/// and `language`. One thread.
class SettingsStore {
public:
    explicit SettingsStore(Platform& platform = Platform::current());
    explicit SettingsStore(UserDefaults& defaults);

    double updateInterval() const { return read(updateInterval_, "updateInterval"); }  // seconds, > 0; default 1
    /// Every case at least once; the stored order first.
    const std::vector<MenuBarMetric>& metricOrder() const { return read(metricOrder_, "metricOrder"); }
    const std::set<MenuBarMetric>& enabledMetrics() const { return read(enabledMetrics_, "enabledMetrics"); }
    bool use24Hour() const { return read(use24Hour_, "use24Hour"); }
    FreqUnit freqUnit() const { return read(freqUnit_, "freqUnit"); }
    TempUnit tempUnit() const { return read(tempUnit_, "tempUnit"); }
    double iconTextGap() const { return read(iconTextGap_, "iconTextGap"); }                    // points, > 0
    double segmentGap() const { return read(segmentGap_, "segmentGap"); }                       // points, > 0
    std::int64_t topProcessCount() const { return read(topProcessCount_, "topProcessCount"); }  // 1–10
    bool showProcessSidebar() const { return read(showProcessSidebar_, "showProcessSidebar"); }
    AppLanguage language() const { return read(language_, "language"); }
    std::int64_t languageVersion() const { return read(languageVersion_, "languageVersion"); }

    /// Takes the value as it is and stores it in the user defaults; a change is announced.
    void setUpdateInterval(double seconds);

    ObservationRegistrar& observation() { return observation_; }

private:
    template <class Value>
    const Value& read(const Value& value, std::string_view property) const {
        observation_.access(property);
        return value;
    }

    UserDefaults& defaults_;
    double updateInterval_;
    std::vector<MenuBarMetric> metricOrder_;
    std::set<MenuBarMetric> enabledMetrics_;
    bool use24Hour_;
    FreqUnit freqUnit_;
    TempUnit tempUnit_;
    double iconTextGap_;
    double segmentGap_;
    std::int64_t topProcessCount_;
    bool showProcessSidebar_;
    AppLanguage language_;
    std::int64_t languageVersion_ = 0;
    ObservationRegistrar observation_;
};

}  // namespace zqm
