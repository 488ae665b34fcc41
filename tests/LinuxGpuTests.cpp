#include <gtest/gtest.h>

#include "Platform/Linux/Hardware/GraphicsCards.h"
#include "tests/fakes/TemporaryTree.h"
#include "tests/fakes/VirtualClock.h"

namespace zqm {
namespace {

/// The library of tests/fakes/nvml: one card at 0000:01:00.0, 40 % busy at 1500 of 1980 MHz, 61 °C.
TEST(LinuxGraphics, NvidiaCardsAreAskedOnlyWhileAwake) {
    const TemporaryTree tree;
    const std::string state = "sys/bus/pci/drivers/nvidia/0000:01:00.0/power/runtime_status";
    tree.write(state, "suspended\n");
    tree.write("sys/bus/pci/drivers/nvidia/bind", "");
    VirtualClock clock;
    const RootDirectory root(tree.root());
    GraphicsCards cards(root, clock, ZQM_FAKE_NVML);
    ASSERT_EQ(cards.read().size(), 1u);
    EXPECT_EQ(cards.read()[0].busy, 0);
    EXPECT_FALSE(cards.read()[0].celsius);
    tree.write(state, "active\n");
    clock.advance(Seconds(1));
    const GraphicsReading awake = cards.read()[0];
    EXPECT_EQ(awake.busy, 0.4);
    EXPECT_EQ(awake.megahertz, 1500);
    EXPECT_EQ(awake.celsius, 61);
    EXPECT_EQ(awake.mostMegahertz, 1980);
    GraphicsCards withoutLibrary(root, clock, "libof-no-such-name.so.1");
    EXPECT_FALSE(withoutLibrary.read()[0].busy);
}

}  // namespace
}  // namespace zqm
