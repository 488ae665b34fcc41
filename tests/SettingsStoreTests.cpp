#include "ZQMHelper/Shared/SettingsStore.h"

#include <gtest/gtest.h>

#include "tests/fakes/FakePlatform.h"

namespace zqm {
namespace {

using enum MenuBarMetric;
using Metrics = std::vector<MenuBarMetric>;

struct Settings : testing::Test {
    FakePlatform machine;
    FakeUserDefaults& defaults = machine.userDefaults;
};

TEST_F(Settings, ClampNumbers) {
    for (auto [stored, taken] : {std::pair{0.0, 1.0}, {-2.0, 1.0}, {0.25, 0.25}, {3600.0, 3600.0}}) {
        defaults.numbers["updateInterval"] = stored;
        EXPECT_EQ(SettingsStore().updateInterval(), taken) << stored;
    }
    for (auto [stored, taken] : {std::pair{-3, 5}, {0, 5}, {1, 1}, {10, 10}, {25, 10}}) {
        defaults.numbers["topProcessCount"] = stored;
        EXPECT_EQ(SettingsStore().topProcessCount(), taken) << stored;
    }
}

TEST_F(Settings, TakeWhatIsKnownAndCompleteTheOrder) {
    EXPECT_EQ(SettingsStore().enabledMetrics(), (std::set{loadIndex, cpuUsage, network}));
    defaults.lists["metricOrder"] = defaults.lists["enabledMetrics"] = {"clock", "bogus", "cpuUsage", "clock"};
    defaults.texts = {{"language", "en"}, {"tempUnit", "Kelvin"}};
    const SettingsStore store;
    EXPECT_EQ(store.metricOrder(), (Metrics{clock, cpuUsage, clock, loadIndex, cpuFreq, gpuUsage, gpuFreq, memoryUsage,
                                            network, disk, power, battery}));
    EXPECT_EQ(store.enabledMetrics(), (std::set{clock, cpuUsage}));
    EXPECT_TRUE(L10n::language == AppLanguage::english && store.tempUnit() == TempUnit::celsius);
}

TEST_F(Settings, AnnounceOnlyRealChangesOfTheInterval) {
    SettingsStore store;
    std::string changed;
    store.observation().onChange([&](std::string_view property) { changed += property; });
    for (const double interval : {1.0, 2.5, 2.5}) {
        defaults.numbers.clear();
        store.setUpdateInterval(interval);
        EXPECT_EQ(defaults.numbers["updateInterval"], interval);
        EXPECT_EQ(changed, interval == store.updateInterval() && interval > 1 ? "updateInterval" : "");
    }
}

}  // namespace
}  // namespace zqm
