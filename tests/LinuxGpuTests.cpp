#include <gtest/gtest.h>

#include "ZQMHelper/Shared/FrequencyReader.h"
#include "ZQMHelper/Shared/GPUReader.h"
#include "tests/fakes/TreeMachine.h"

namespace zqm {
namespace {

using Files = std::initializer_list<std::pair<const char*, const char*>>;

TEST(LinuxGraphics, CardsOfEachDriver) {
    const struct {
        const char* what;
        Files files;
        double utilization, megahertz, mostMegahertz;
    } rows[] = {
        {"level",
         {{"device/gpu_busy_percent", "11"}, {"device/pp_dpm_sclk", "0: 300Mhz \n1: 900Mhz *\n2: 1366Mhz "}},
         0.11,
         900,
         1366},
        {"below the lowest level",
         {{"device/gpu_busy_percent", "3"}, {"device/pp_dpm_sclk", "0: 500Mhz\n1: 31Mhz *\n2: 2219Mhz"}},
         0.03,
         31,
         2219},
        {"sleep level",
         {{"device/gpu_busy_percent", "25"}, {"device/pp_dpm_sclk", "S: 500Mhz\n1: 789Mhz *\n2: 2070Mhz"}},
         0.25,
         789,
         2070},
        {"no level marked",
         {{"device/pp_dpm_sclk", "0: 300Mhz \n1: 1900Mhz "}, {"device/hwmon/hwmon1/freq1_input", "10000000"}},
         0,
         10,
         1900},
        {"old driver", {{"device/hwmon/hwmon3/freq1_input", "300000000"}}, 0, 300, 0},
        {"i915", {{"gt_act_freq_mhz", "600"}, {"gt_RPn_freq_mhz", "300"}, {"gt_RP0_freq_mhz", "2450"}}, 0, 600, 2450},
        {"xe",
         {{"device/tile0/gt0/freq0/act_freq", "400"},
          {"device/tile0/gt0/freq0/rp0_freq", "2850"},
          {"device/tile0/gt1/freq0/act_freq", "0"}},
         0,
         400,
         2850},
        {"asleep",
         {{"device/power/runtime_status", "suspended"},
          {"device/gpu_busy_percent", "99"},
          {"device/pp_dpm_sclk", "0: 300Mhz *"}},
         0,
         0,
         300},
        {"absurd",
         {{"device/gpu_busy_percent", "101"}, {"device/pp_dpm_sclk", "0: Mhz *\n1: 99999999999Mhz *\n*\n:"}},
         0,
         0,
         0},
    };
    for (const auto& [what, files, utilization, megahertz, mostMegahertz] : rows) {
        TreeMachine machine;
        machine.write("sys/class/drm/card1", files);
        machine.write("sys/class/drm/card1-DP-1", {{"status", "connected"}});
        machine.tree.write("proc/stat", "cpu0 1 0 1 1\n");
        machine.tree.write("proc/cpuinfo", "processor : 0\ncpu MHz : 1000\n");
        const GPUMetrics gpu = GPUReader(machine.platform).sample();
        EXPECT_DOUBLE_EQ(gpu.utilization, utilization) << what;
        EXPECT_DOUBLE_EQ(gpu.frequencyMHz, megahertz) << what;
        const auto frequencies = FrequencyReader(machine.platform).sample();
        EXPECT_DOUBLE_EQ(frequencies.gpuMaxMHz, mostMegahertz) << what;
        EXPECT_NEAR(frequencies.gpuMHz, mostMegahertz > 0 ? megahertz : 0, 1e-6) << what;
    }
}

TEST(LinuxGraphics, BusyIsWhatIsNotIdle) {
    const std::string idle = "sys/class/drm/card0/gt/gt0/rc6_residency_ms";
    TreeMachine machine;
    machine.write("sys/class/drm/card0/gt/gt0", {{"rps_act_freq_mhz", "600"}});
    GPUReader reader(machine.platform);
    const struct {
        const char *milliseconds, *what;
        double utilization;
    } ticks[] = {{"5000\n", "first reading", 0},
                 {"5000\n", "never moved: perhaps switched off", 0},
                 {"5750\n", "a quarter busy", 0.25},
                 {"5750\n", "busy all the time", 1},
                 {"6950\n", "more than has passed", 0},
                 {"100\n", "fell", 0},
                 {"x\n", "absurd", 0},
                 {"600\n", "first reading again", 0},
                 {"1100\n", "half busy", 0.5}};
    for (const auto& [milliseconds, what, utilization] : ticks) {
        machine.tree.write(idle, milliseconds);
        EXPECT_NEAR(reader.sample().utilization, utilization, 1e-9) << what;
        machine.fakes.clock.advance(Seconds(1));
    }
}

TEST(LinuxGraphics, ReadersOfOneTickSeeOneReading) {
    TreeMachine machine;
    machine.write("sys/class/drm/card0/device", {{"gpu_busy_percent", "10"}});
    GPUReader reader(machine.platform);
    EXPECT_DOUBLE_EQ(reader.sample().utilization, 0.1);
    machine.write("sys/class/drm/card0/device", {{"gpu_busy_percent", "20"}});
    machine.fakes.clock.advance(Seconds(0.1));
    EXPECT_DOUBLE_EQ(reader.sample().utilization, 0.1);
    machine.fakes.clock.advance(Seconds(0.1));
    EXPECT_DOUBLE_EQ(reader.sample().utilization, 0.2);
}

/// The library of tests/fakes/NvidiaManagement.cpp: one card at 0000:01:00.0, 40 % busy at 1500 of 1980 MHz, 61 °C.
TEST(LinuxGraphics, NvidiaCardsAreAskedOnlyWhileAwake) {
    TreeMachine machine;
    const std::string state = "sys/bus/pci/drivers/nvidia/0000:01:00.0/power/runtime_status";
    machine.tree.write(state, "suspended\n");
    machine.tree.write("sys/bus/pci/drivers/nvidia/bind", "");
    const RootDirectory root(machine.tree.root());
    GraphicsCards cards(root, machine.fakes.clock, ZQM_FAKE_NVML);
    ASSERT_EQ(cards.read().size(), 1u);
    EXPECT_EQ(cards.read()[0].busyPercent, 0);
    EXPECT_FALSE(cards.read()[0].celsius);
    machine.tree.write(state, "active\n");
    machine.fakes.clock.advance(Seconds(1));
    const GraphicsReading awake = cards.read()[0];
    EXPECT_EQ(awake.busyPercent, 40);
    EXPECT_EQ(awake.megahertz, 1500);
    EXPECT_EQ(awake.celsius, 61);
    GraphicsCards started(root, machine.fakes.clock, ZQM_FAKE_NVML);
    EXPECT_EQ(started.steps(), (ClockSteps{1000, 1980000}));
    GraphicsCards withoutLibrary(root, machine.fakes.clock, "libof-no-such-name.so.1");
    EXPECT_FALSE(withoutLibrary.read()[0].busyPercent);
}

}  // namespace
}  // namespace zqm
