#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "Platform/Linux/Details/NvidiaUsers.h"
#include "Platform/Linux/Hardware/GraphicsCards.h"
#include "tests/fakes/TemporaryTree.h"
#include "tests/fakes/VirtualClock.h"

namespace zqm {
namespace {

bool isLibraryLoaded() {
    void* library = ::dlopen(ZQM_FAKE_NVML, RTLD_NOW | RTLD_NOLOAD);
    return library && ::dlclose(library) == 0;
}

/// The library of tests/fakes/nvml: one card at 0000:01:00.0, 40 % busy or as the environment says, at 1500 of 1980
/// MHz, 61 °C and 70.5 W.
TEST(LinuxGraphics, NvidiaLibraryIsOpenOnlyWhileACardIsAsked) {
    const TemporaryTree tree;
    const std::string power = "sys/bus/pci/drivers/nvidia/0000:01:00.0/power/";
    tree.write(power + "runtime_status", "suspended\n");
    tree.write(power + "control", "auto\n");
    tree.write("sys/bus/pci/drivers/nvidia/bind", "");
    tree.write("sys/bus/pci/drivers/nvidia/0000:01:00.0/drm/card1/dev", "");
    tree.write("sys/class/drm/card1/dev", "");  // the same card
    VirtualClock clock;
    const RootDirectory root(tree.root());
    GraphicsCards cards(root, clock, ZQM_FAKE_NVML);
    ASSERT_EQ(cards.read().size(), 1u);
    EXPECT_EQ(cards.read()[0].busy, 0);
    EXPECT_FALSE(cards.read()[0].celsius);
    EXPECT_EQ(cards.describe(MetricFamily::gpuTemperature)->remark, "0000:01:00.0 asleep");
    EXPECT_FALSE(isLibraryLoaded());
    NvidiaUsers users(root, clock, ZQM_FAKE_NVML);  // leaves it alone as well
    tree.write(power + "runtime_status", "active\n");
    // With work at first, then without; the driver tells no delay, so that 10 s are taken for it.
    for (const auto& [seconds, percent, isLoaded] : std::initializer_list<std::tuple<double, const char*, bool>>{
             {1, "40", true}, {5, "40", true}, {1, "0", true}, {3, "0", false}, {14, "90", false}, {1, "90", true}}) {
        ::setenv("ZQM_FAKE_NVML_BUSY", percent, 1);
        clock.advance(Seconds(seconds));
        const GraphicsReading card = cards.read()[0];
        users.read();
        EXPECT_EQ(card.busy, isLoaded ? std::atof(percent) / 100 : 0);
        EXPECT_EQ(card.megahertz, 1500);
        EXPECT_EQ(card.mostMegahertz, 1980);
        EXPECT_EQ(card.celsius, 61);
        EXPECT_EQ(card.watts, 70.5);
        EXPECT_EQ(isLibraryLoaded(), isLoaded) << seconds << " s at " << percent << " %";
    }
    ::unsetenv("ZQM_FAKE_NVML_BUSY");
    GraphicsCards withoutLibrary(root, clock, "libof-no-such-name.so.1");
    EXPECT_FALSE(withoutLibrary.read()[0].busy);
    EXPECT_NE(withoutLibrary.describe(MetricFamily::gpuPower)->absence, "");
}

TEST(LinuxGraphics, ACardsSensorsAreThoseThatItHas) {
    VirtualClock clock;
    const std::string chip = "sys/class/drm/card0/device/hwmon/hwmon1/";
    for (const std::string file : {"freq1_input", "temp1_input", "power1_average", "energy1_input"}) {
        const TemporaryTree tree;
        tree.write(chip + "name", "xe\n");
        tree.write(chip + file, "30000000\n");
        const RootDirectory root(tree.root());
        GraphicsCards cards(root, clock, "");
        const auto isTold = [&](MetricFamily family) {
            const auto source = cards.describe(family);
            return source && source->place == "/" + chip + file;
        };
        EXPECT_EQ(isTold(MetricFamily::gpuTemperature), file == "temp1_input");
        EXPECT_EQ(isTold(MetricFamily::gpuPower), file == "power1_average" || file == "energy1_input");
    }
}

}  // namespace
}  // namespace zqm
