#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ifaddrs.h>

#include <memory>
#include <set>

#include "Platform/Linux/Network/LinuxInterfaceAddresses.h"
#include "tests/fakes/TemporaryTree.h"

namespace zqm {
namespace {

using testing::ElementsAre;

std::string dotted(std::uint32_t address) {
    const in_addr bytes{htonl(address)};
    return ::inet_ntoa(bytes);
}

/// "name address" of each.
std::vector<std::string> listed(LinuxInterfaceAddresses& addresses) {
    std::vector<std::string> texts;
    const auto all = addresses.ipv4().value();
    for (const auto& [name, ipv4] : all) texts.push_back(name + " " + dotted(ipv4));
    return texts;
}

std::string leaf(std::string_view address, std::string_view kind) {
    return "        |-- " + std::string(address) + "\n           " + std::string(kind) + "\n";
}

class LinuxAddresses : public testing::Test {
protected:
    void showInterfaces(std::initializer_list<std::string_view> names) {
        std::string content;
        for (std::string_view name : names) content += std::string(name) + ": 1 0 0 0 0 0 0 0 2 0 0 0 0 0 0 0\n";
        tree_.write("proc/net/dev", content);
    }

    TemporaryTree tree_;
    RootDirectory root_{tree_.root()};
    LinuxNetworkInterfaces interfaces_{root_};
    LinuxInterfaceAddresses addresses_{root_, interfaces_};
};

TEST_F(LinuxAddresses, BelongToTheInterfaceOfTheirNetwork) {
    tree_.write("sys/class/net/wlan0/device/vendor", "");
    tree_.write("sys/class/net/eth0/device/vendor", "");
    showInterfaces({"lo", "eth0", "wlan0", "tun0"});
    tree_.write("proc/net/route",
                "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\n"
                "wlan0\t00000000\t0101A8C0\t0003\t0\t0\t600\t00000000\n"
                "eth0\t0000000A\t0201A8C0\t0003\t0\t0\t0\t000000FF\n"   // 10.0.0.0/8 by way of another machine
                "eth0\t0000A8C0\t00000000\t0001\t0\t0\t0\t0000FFFF\n"   // 192.168.0.0/16
                "wlan0\t0001A8C0\t00000000\t0001\t0\t0\t0\t00FFFFFF\n"  // 192.168.1.0/24
                "tun0\t0000080A\t00000000\t0001\t0\t0\t0\t00FFFFFF\n"   // 10.8.0.0/24
                "gone0\t000010AC\t00000000\t0001\t0\t0\t0\t0000FFFF\n");
    tree_.write("proc/net/fib_trie",
                "Main:\n" + leaf("192.168.1.20", "/32 host LOCAL") + "Local:\n" + leaf("10.8.0.2", "/32 host LOCAL") +
                    leaf("10.9.0.2", "/32 host LOCAL") + leaf("127.0.0.0", "/8 host LOCAL") +
                    leaf("127.0.0.1", "/32 host LOCAL") + leaf("172.16.0.1", "/32 host LOCAL") +
                    leaf("192.168.0.0", "/16 link UNICAST") + leaf("192.168.1.20", "/32 host LOCAL") +
                    leaf("192.168.1.255", "/32 link BROADCAST") + leaf("192.168.2.30", "/32 host LOCAL") +
                    "        |-- 192.168.2.31\n  /32 host LO");
    EXPECT_THAT(listed(addresses_),
                ElementsAre("utun0 10.8.0.2", "lo0 127.0.0.1", "en0 192.168.1.20", "en1 192.168.2.30"));
}

TEST_F(LinuxAddresses, FollowTheNamesOfTheInterfaces) {
    tree_.write("proc/net/fib_trie", "Local:\n" + leaf("10.1.0.5", "/32 host LOCAL"));
    tree_.write("proc/net/route", "eth1 0000010A 00000000 0001 0 0 0 0000FFFF\n");
    EXPECT_FALSE(addresses_.ipv4()) << "there are no interfaces to name";
    showInterfaces({"eth0", "eth1"});
    tree_.write("sys/class/net/eth0/device/vendor", "");
    tree_.write("sys/class/net/eth1/device/vendor", "");
    EXPECT_THAT(listed(addresses_), ElementsAre("en1 10.1.0.5"));
    showInterfaces({"eth1"});
    interfaces_.links();
    EXPECT_THAT(listed(addresses_), ElementsAre("en0 10.1.0.5"));
    tree_.remove("proc/net/route");
    EXPECT_THAT(listed(addresses_), ElementsAre());
    tree_.remove("proc/net/fib_trie");
    EXPECT_FALSE(addresses_.ipv4());
}

TEST(LinuxOwnAddresses, AreThoseOfTheSystemLibrary) {
    ifaddrs* list = nullptr;
    ASSERT_EQ(::getifaddrs(&list), 0);
    const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> owner(list, ::freeifaddrs);
    std::set<std::string> expected;
    for (const ifaddrs* each = list; each; each = each->ifa_next) {
        if (!each->ifa_addr || each->ifa_addr->sa_family != AF_INET) continue;
        expected.insert(::inet_ntoa(reinterpret_cast<const sockaddr_in*>(each->ifa_addr)->sin_addr));
    }
    const RootDirectory root("/");
    LinuxNetworkInterfaces interfaces(root);
    LinuxInterfaceAddresses addresses(root, interfaces);
    for (int repetition = 0; repetition < 3; ++repetition) {  // on one socket
        const auto found = addresses.ipv4();
        ASSERT_TRUE(found);
        EXPECT_EQ(found->empty(), expected.empty());
        for (const auto& [name, ipv4] : *found) {
            EXPECT_TRUE(expected.count(dotted(ipv4))) << dotted(ipv4);
            EXPECT_EQ(ipv4 == 0x7F000001, name == "lo0") << name;
        }
    }
}

}  // namespace
}  // namespace zqm
