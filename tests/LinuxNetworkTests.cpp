#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Platform/Linux/LinuxMachine.h"
#include "tests/fakes/TemporaryTree.h"

namespace zqm {
namespace {

using testing::ElementsAre;

const std::string header = "Inter-|   Receive  |  Transmit\n face |bytes    packets errs|bytes    packets errs\n";

std::string line(std::string_view name, std::uint64_t received = 1, std::uint64_t sent = 2) {
    return "  " + std::string(name) + ": " + std::to_string(received) + " 9 9 9 9 9 9 9 " + std::to_string(sent) +
           " 9 9 9 9 9 9 9\n";
}

void showInterfaces(const TemporaryTree& tree, const std::vector<std::string_view>& names) {
    std::string content = header;
    for (std::string_view name : names) content += line(name);
    tree.write("proc/net/dev", content);
}

void showRoute(const TemporaryTree& tree, std::string_view lines) {
    tree.write("proc/net/route",
               "Iface\tDestination\tGateway\tFlags\tRefCnt\tUse\tMetric\tMask\tMTU\n" + std::string(lines));
}

void makeDevice(const TemporaryTree& tree, std::string_view name) {
    tree.write("sys/class/net/" + std::string(name) + "/device/vendor", "");
}

std::vector<std::string> presented(LinuxMachine& machine) {
    std::vector<std::string> names;
    const auto links = machine.services().networkInterfaces.links().value();
    for (const auto& link : links) names.push_back(link.name);
    return names;
}

TEST(LinuxNetwork, ReadsCountersOf64Bits) {
    TemporaryTree tree;
    tree.write("proc/net/dev", header + line("eth0", 18446744073709551615u, 5000000000) + line("old:1", 3, 4) +
                                   "glued:7 0 0 0 0 0 0 0 8 0 0 0 0 0 0 0\n" + "short: 1 2 3\n" + "  : 1 2\n" +
                                   "huge: 18446744073709551616 0 0 0 0 0 0 0 8\n" + "cut: 1 0 0 0 0 0 0 0 8");
    LinuxMachine machine(tree.root());
    const auto links = machine.services().networkInterfaces.links().value();
    ASSERT_THAT(presented(machine), ElementsAre("en0", "old:1", "glued", "short", "huge", "cut"));
    EXPECT_EQ(links[0].counters->received, 18446744073709551615u);
    EXPECT_EQ(links[0].counters->sent, 5000000000u);
    EXPECT_EQ(links[1].counters->sent, 4u);
    EXPECT_EQ(links[2].counters->received, 7u);
    EXPECT_EQ(links[2].counters->sent, 8u);
    EXPECT_FALSE(links[3].counters);
    EXPECT_FALSE(links[4].counters);
    EXPECT_FALSE(links[5].counters);
    tree.remove("proc/net/dev");
    EXPECT_FALSE(machine.services().networkInterfaces.links());
}

TEST(LinuxNetwork, NamesInterfacesByWhatTheyAre) {
    TemporaryTree tree;
    for (auto name : {"enp3s0", "wlan0", "wwan0", "fastpath"}) makeDevice(tree, name);
    tree.write("sys/class/net/fastpath/master/device/vendor", "");  // a path of another device's interface
    tree.write("sys/class/net/enp3s0/master/bridge/id", "");        // a port of a bridge
    tree.write("sys/class/net/vpn7/type", "65534\n");
    tree.write("sys/class/net/loop/type", "772\n");
    showInterfaces(tree, {"lo", "enp3s0", "wlan0", "wwan0", "fastpath", "docker0", "veth1", "enp3s0.5", "en7", "bond0",
                          "tun0", "wg1", "tap3", "vpn7", "ppp0", "loop"});
    showRoute(tree,
              "wlan0\t00000000\t0101A8C0\t0003\t0\t0\t600\t00000000\t0\n"
              "enp3s0\t0001A8C0\t00000000\t0001\t0\t0\t0\t00FFFFFF\t0\n");
    LinuxMachine machine(tree.root());
    EXPECT_THAT(presented(machine),
                ElementsAre("lo0", "en1", "en0", "en2", "fastpath", "docker0", "veth1", "virtual-enp3s0.5",
                            "virtual-en7", "bond0", "utun0", "utun1", "utun2", "utun3", "ppp0", "lo1"));
}

TEST(LinuxNetwork, CountsTheInterfaceThatLeadsOutOfAContainer) {
    struct Case {
        std::vector<std::string_view> interfaces;
        std::string_view defaultRoute;
        std::vector<std::string> presented;
    };
    for (const auto& [interfaces, defaultRoute, expected] : std::initializer_list<Case>{
             {{"lo", "eth0", "eth1"}, "eth1", {"lo0", "eth0", "en0"}},
             {{"lo", "eth1", "eth0"}, "", {"lo0", "eth1", "en0"}},
             {{"lo", "wg0", "eth0"}, "wg0", {"lo0", "utun0", "en0"}},
             {{"ppp0", "enX0", "enX1"}, "ppp0", {"ppp0", "en0", "virtual-enX1"}},
             {{"lo", "host0"}, "host0", {"lo0", "en0"}},
             {{"lo", "docker0"}, "", {"lo0", "docker0"}},
         }) {
        TemporaryTree tree;
        showInterfaces(tree, interfaces);
        showRoute(tree, std::string(defaultRoute) + "\t00000000\t0101A8C0\t0003\t0\t0\t0\t00000000\t0\n");
        LinuxMachine machine(tree.root());
        EXPECT_EQ(presented(machine), expected);
    }
}

TEST(LinuxNetwork, PrefersTheDefaultRouteOfTheLowestMetric) {
    EXPECT_EQ(defaultRouteInterface("Iface\tDestination\n"
                                    "a\t00000000\t0\t0003\t0\t0\t600\t00000000\n"
                                    "b\t00000000\t0\t0003\t0\t0\t100\t00000000\n"
                                    "c\t00000000\t0\t0003\t0\t0\t50\t00FFFFFF\n"
                                    "d\t0000000A\t0\t0003\t0\t0\t50\t00000000\n"
                                    "e\t00000000\t0\t0003\n"),
              "b");
    EXPECT_EQ(defaultRouteInterface(""), "");
}

TEST(LinuxNetwork, LooksAtAnInterfaceOnlyWhenItAppears) {
    TemporaryTree tree;
    makeDevice(tree, "eth0");
    makeDevice(tree, "eth1");
    showInterfaces(tree, {"eth0", "eth1"});
    LinuxMachine machine(tree.root());
    EXPECT_THAT(presented(machine), ElementsAre("en0", "en1"));
    tree.remove("sys");
    showRoute(tree, "eth1\t00000000\t0101A8C0\t0003\t0\t0\t0\t00000000\t0\n");
    EXPECT_THAT(presented(machine), ElementsAre("en0", "en1")) << "nothing changes while the names are the same";
    showInterfaces(tree, {"eth0", "veth1", "eth1"});
    EXPECT_THAT(presented(machine), ElementsAre("en1", "veth1", "en0"));
}

}  // namespace
}  // namespace zqm
