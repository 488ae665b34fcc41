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
    const Metrics declared{loadIndex, cpuUsage, cpuFreq, gpuUsage, gpuFreq, memoryUsage,
                           network,   disk,     power,   clock,    battery};
};

TEST_F(Settings, TakeTheirDefaultsFromAnEmptyDomain) {
    const SettingsStore store;
    EXPECT_EQ(store.updateInterval(), 1.0);
    EXPECT_EQ(store.metricOrder(), declared);
    EXPECT_EQ(store.enabledMetrics(), (std::set{loadIndex, cpuUsage, network}));
    EXPECT_TRUE(store.use24Hour());
    EXPECT_EQ(store.freqUnit(), FreqUnit::ghz);
    EXPECT_EQ(store.tempUnit(), TempUnit::celsius);
    EXPECT_EQ(store.iconTextGap(), 3.0);
    EXPECT_EQ(store.segmentGap(), 6.0);
    EXPECT_EQ(store.topProcessCount(), 5);
    EXPECT_TRUE(store.showProcessSidebar());
    EXPECT_EQ(store.language(), AppLanguage::chinese);
    EXPECT_EQ(store.languageVersion(), 0);
    EXPECT_EQ(L10n::language, AppLanguage::chinese);
}

TEST_F(Settings, ClampNumbers) {
    for (auto [stored, taken] : {std::pair{0.0, 1.0}, {-2.0, 1.0}, {0.25, 0.25}, {3600.0, 3600.0}}) {
        defaults.numbers["updateInterval"] = stored;
        EXPECT_EQ(SettingsStore().updateInterval(), taken) << stored;
    }
    for (auto [stored, taken] : {std::pair{-3, 5}, {0, 5}, {1, 1}, {9, 9}, {10, 10}, {25, 10}}) {
        defaults.numbers["topProcessCount"] = stored;
        EXPECT_EQ(SettingsStore().topProcessCount(), taken) << stored;
    }
    defaults.numbers["iconTextGap"] = -1;
    defaults.numbers["segmentGap"] = 0.5;
    EXPECT_EQ(SettingsStore().iconTextGap(), 3.0);
    EXPECT_EQ(SettingsStore().segmentGap(), 0.5);
}

TEST_F(Settings, CompleteTheOrderAndKeepWhatWasStoredFirst) {
    defaults.lists["metricOrder"] = {"clock", "bogus", "cpuUsage", "clock"};
    EXPECT_EQ(SettingsStore().metricOrder(), (Metrics{clock, cpuUsage, clock, loadIndex, cpuFreq, gpuUsage, gpuFreq,
                                                      memoryUsage, network, disk, power, battery}));
    defaults.lists["metricOrder"] = {};
    EXPECT_EQ(SettingsStore().metricOrder(), declared);
}

TEST_F(Settings, EnableOnlyKnownMetrics) {
    for (const auto& [stored, enabled] :
         std::initializer_list<std::pair<std::vector<std::string>, std::set<MenuBarMetric>>>{
             {{}, {}}, {{"Disk"}, {}}, {{"disk", "battery", "disk"}, {disk, battery}}}) {
        defaults.lists["enabledMetrics"] = stored;
        EXPECT_EQ(SettingsStore().enabledMetrics(), enabled);
    }
}

TEST_F(Settings, MatchTextsExactly) {
    defaults.texts = {{"language", "en"}, {"tempUnit", "kelvin"}, {"freqUnit", "mhz"}};
    defaults.flags = {{"use24Hour", false}, {"showProcessSidebar", false}};
    const SettingsStore chosen;
    EXPECT_EQ(chosen.language(), AppLanguage::english);
    EXPECT_EQ(L10n::language, AppLanguage::english);
    EXPECT_EQ(chosen.tempUnit(), TempUnit::kelvin);
    EXPECT_EQ(chosen.freqUnit(), FreqUnit::mhz);
    EXPECT_FALSE(chosen.use24Hour());
    EXPECT_FALSE(chosen.showProcessSidebar());
    defaults.texts = {{"language", "EN"}, {"tempUnit", "Kelvin"}, {"freqUnit", "MHz"}};
    const SettingsStore unmatched;
    EXPECT_EQ(unmatched.language(), AppLanguage::chinese);
    EXPECT_EQ(L10n::language, AppLanguage::chinese);
    EXPECT_EQ(unmatched.tempUnit(), TempUnit::celsius);
    EXPECT_EQ(unmatched.freqUnit(), FreqUnit::ghz);
}

TEST_F(Settings, AnnounceOnlyRealChangesOfTheInterval) {
    SettingsStore store;
    std::vector<std::string> changed;
    store.observation().onChange([&](std::string_view property) { changed.emplace_back(property); });
    store.setUpdateInterval(2.5);
    EXPECT_EQ(store.updateInterval(), 2.5);
    EXPECT_EQ(defaults.numbers["updateInterval"], 2.5);
    defaults.numbers.clear();
    store.setUpdateInterval(2.5);
    EXPECT_EQ(defaults.numbers["updateInterval"], 2.5);
    EXPECT_EQ(changed, std::vector<std::string>{"updateInterval"});
}

}  // namespace
}  // namespace zqm
