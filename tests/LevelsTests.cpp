#include <gtest/gtest.h>

#include <tuple>

#include "Client/BarSegments.h"
#include "Client/Levels.h"
#include "tests/fakes/FakePlatform.h"

namespace zqm {
namespace {

constexpr Level normal = Level::normal, warning = Level::warning, critical = Level::critical;

TEST(Levels, JudgeWhatIsShort) {
    for (const auto& [pressure, used, level] : {std::tuple{1, 99u, normal},
                                                {2, 1u, warning},
                                                {4, 1u, critical},
                                                {0, 89u, normal},
                                                {0, 90u, warning},
                                                {0, 97u, critical}}) {
        SystemSnapshot snapshot;
        snapshot.memory.totalBytes = 100;
        snapshot.memory.usedBytes = used;
        snapshot.memory.pressureLevel = pressure;
        EXPECT_EQ(Levels(snapshot, usualLimits).of(Aspect::memory), level) << pressure << ' ' << used;
    }
    for (const auto& [left, onACPower, level] :
         {std::tuple{0.21, false, normal}, {0.2, false, warning}, {0.1, false, critical}, {0.1, true, normal}}) {
        SystemSnapshot snapshot;
        snapshot.battery.isPresent = true;
        snapshot.battery.onACPower = onACPower;
        snapshot.battery.level = left;
        EXPECT_EQ(Levels(snapshot, usualLimits).of(Aspect::battery), level) << left;
    }
    for (const auto& [left, level] : {std::pair{10u, normal}, {9u, warning}, {5u, warning}, {4u, critical}}) {
        EXPECT_EQ(spaceLevel({"/", 100, left}), level) << left;
    }
    const auto own = parseLimits("load=50,60,temperature=50,60");
    ASSERT_TRUE(own);
    for (const auto& [limited, most] : {std::pair{Limited::load, 0.6}, {Limited::temperature, 60}}) {
        EXPECT_DOUBLE_EQ((*own)[static_cast<std::size_t>(limited)].critical, most);
    }
    SystemSnapshot busy;
    busy.load.value = busy.cpu.totalUsage = busy.gpu.utilization = 1;
    busy.cpu.temperatureC = 84;
    for (const Aspect aspect :
         {Aspect::load, Aspect::cpu, Aspect::gpu, Aspect::cpuHeat, Aspect::memory, Aspect::battery}) {
        EXPECT_EQ(Levels(busy, usualLimits).of(aspect), normal);
    }
}

TEST(Levels, RiseAfterThreeSamplesAndFallAtOnce) {
    LevelTrail trail;
    for (const auto& [celsius, level] : {std::pair{99, normal},
                                         {99, normal},
                                         {99, critical},
                                         {90, warning},
                                         {99, warning},
                                         {99, warning},
                                         {99, critical},
                                         {40, normal},
                                         {99, normal}}) {
        SystemSnapshot snapshot;
        snapshot.gpu.temperatureC = celsius;
        EXPECT_EQ(trail.add(Levels(snapshot, usualLimits)).of(Aspect::gpuHeat), level);
    }
}

TEST(BarSegments, LeaveOutWhatTheMachineDoesNotHave) {
    FakePlatform machine;
    const SettingsStore settings;
    const SystemSnapshot nothing;
    const auto all = allCases<MenuBarMetric>();
    std::string names;
    for (const BarSegment& segment :
         barSegments(nothing, settings, {all.begin(), all.end()}, Levels(nothing, usualLimits), nothing.timestamp))
        names += std::string(segment.name) + ' ';
    EXPECT_EQ(names, "loadIndex network disk clock ");
}

}  // namespace
}  // namespace zqm
