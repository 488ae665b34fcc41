#include "ZQMHelper/Shared/SettingsStore.h"

#include <algorithm>

#include "Platform/Process/UserDefaults.h"

namespace zqm {
namespace {

double positiveOr(double value, double fallback) {
    return value > 0 ? value : fallback;
}

bool flag(UserDefaults& defaults, std::string_view key, bool fallback) {
    return defaults.hasObjectForKey(key) ? defaults.boolForKey(key) : fallback;
}

template <class Enum>
Enum choice(UserDefaults& defaults, std::string_view key, Enum fallback) {
    const auto stored = defaults.stringForKey(key);
    return stored ? fromRawValue<Enum>(*stored).value_or(fallback) : fallback;
}

/// The known metrics of a stored list, in its order, duplicates kept; nullopt when none is stored.
std::optional<std::vector<MenuBarMetric>> metrics(UserDefaults& defaults, std::string_view key) {
    const auto stored = defaults.stringArrayForKey(key);
    if (!stored) return std::nullopt;
    std::vector<MenuBarMetric> known;
    for (const std::string& text : *stored) {
        if (auto metric = fromRawValue<MenuBarMetric>(text)) known.push_back(*metric);
    }
    return known;
}

std::vector<MenuBarMetric> completeOrder(std::vector<MenuBarMetric> order) {
    for (MenuBarMetric metric : allCases<MenuBarMetric>()) {
        if (std::find(order.begin(), order.end(), metric) == order.end()) order.push_back(metric);
    }
    return order;
}

std::set<MenuBarMetric> enabledSet(const std::optional<std::vector<MenuBarMetric>>& stored) {
    if (!stored) return {MenuBarMetric::loadIndex, MenuBarMetric::cpuUsage, MenuBarMetric::network};
    return {stored->begin(), stored->end()};
}

std::int64_t processCount(std::int64_t stored) {
    return stored <= 0 ? 5 : std::min<std::int64_t>(stored, 10);
}

}  // namespace

SettingsStore::SettingsStore(Platform& platform) : SettingsStore(platform.userDefaults) {}

SettingsStore::SettingsStore(UserDefaults& defaults)
    : defaults_(defaults),
      updateInterval_(positiveOr(defaults_.doubleForKey("updateInterval"), 1.0)),
      metricOrder_(completeOrder(metrics(defaults_, "metricOrder").value_or(std::vector<MenuBarMetric>{}))),
      enabledMetrics_(enabledSet(metrics(defaults_, "enabledMetrics"))),
      use24Hour_(flag(defaults_, "use24Hour", true)),
      freqUnit_(choice(defaults_, "freqUnit", FreqUnit::ghz)),
      tempUnit_(choice(defaults_, "tempUnit", TempUnit::celsius)),
      iconTextGap_(positiveOr(defaults_.doubleForKey("iconTextGap"), 3.0)),
      segmentGap_(positiveOr(defaults_.doubleForKey("segmentGap"), 6.0)),
      topProcessCount_(processCount(defaults_.integerForKey("topProcessCount"))),
      showProcessSidebar_(flag(defaults_, "showProcessSidebar", true)),
      language_(choice(defaults_, "language", AppLanguage::chinese)) {
    L10n::language = language_;
}

void SettingsStore::setUpdateInterval(double seconds) {
    const auto store = [&] {
        updateInterval_ = seconds;
        defaults_.setDouble(seconds, "updateInterval");
    };
    if (seconds == updateInterval_) {
        store();
    } else {
        observation_.withMutation("updateInterval", store);
    }
}

}  // namespace zqm
