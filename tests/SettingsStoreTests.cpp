#include "ZQMHelper/Shared/SettingsStore.h"

#include <gtest/gtest.h>

#include "tests/fakes/FakePlatform.h"

namespace zqm {
namespace {

TEST(Settings, AnnounceOnlyRealChangesOfTheInterval) {
    FakePlatform machine;
    auto& numbers = machine.userDefaults.numbers;
    SettingsStore store;
    std::string changed;
    store.observation().onChange([&](std::string_view property) { changed += property; });
    for (const double interval : {1.0, 2.5, 2.5}) {
        numbers.clear();
        store.setUpdateInterval(interval);
        EXPECT_EQ(numbers["updateInterval"], interval);
        EXPECT_EQ(changed, interval == store.updateInterval() && interval > 1 ? "updateInterval" : "");
    }
}

}  // namespace
}  // namespace zqm
