#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <ifaddrs.h>
#include <linux/rtnetlink.h>
#include <net/if.h>

#include <memory>
#include <set>

#include "Platform/Linux/LinuxMachine.h"
#include "Platform/Linux/Network/KernelAddresses.h"
#include "Platform/Linux/Network/Proxies.h"
#include "Platform/Linux/Network/ProxyHosts.h"
#include "ZQMHelper/Shared/IPReader.h"
#include "tests/fakes/TemporaryTree.h"
#include "tests/fakes/WholeHelper.h"

// What the texts of tests/machines/ cannot show: this machine, the environment, names, and time that reading takes.

namespace zqm {
namespace {

TEST(LinuxFacts, AProxysHostIsTakenOutOfItsAddress) {
    for (const auto& [setting, host] : std::initializer_list<std::pair<std::string, std::string>>{
             {"http://proxy.example.com:8080/", "proxy.example.com"},
             {"HTTPS://proxy", "proxy"},
             {" 10.0.0.1:3128 ", "10.0.0.1"},
             {"anna:secret@proxy", "proxy"},
             {"http://anna:se/cr@et#@proxy:65535/?a", "proxy"},
             {"socks5h://[2001:db8::1]:8080/", "2001:db8::1"},
             {"[fe80::1%eth0]", "fe80::1%eth0"},
             {"http://b\u00FCcher:80", "b\u00FCcher"},
             {"http://proxy:", "proxy"},
             {"http://:8080", ""},
             {"http://proxy:port", ""},
             {"http://proxy:65536", ""},
             {"http://[::1", ""},
             {"::1", ""},
             {"not a proxy", ""},
             {"http://\xFF", ""},
         }) {
        const auto proxy = parseProxy(setting);
        EXPECT_EQ(proxy ? proxy->host : "", host) << setting;
        EXPECT_EQ(proxy && proxy->isSocks, setting.starts_with("socks")) << setting;
    }
}

TEST(LinuxFacts, TheVariablesOfTheEnvironmentAreCombined) {
    for (const auto& [variables, expected] : std::initializer_list<std::pair<ByName<std::string>, std::string>>{
             {{{"HTTP_PROXY", "big"}, {"http_proxy", "small"}}, "small - -"},
             {{{"HTTP_PROXY", "big"}, {"http_proxy", ""}}, "big - -"},
             {{{"all_proxy", "socks5h://a:1080"}}, "- - a"},
             {{{"ALL_PROXY", "a"}, {"https_proxy", "b"}}, "a b -"},
             {{{"http_proxy", "socks://a"}, {"all_proxy", "socks4://b"}}, "- - a"},
             {{{"http_proxy", "a"}, {"HTTPS_PROXY", "b"}, {"socks_proxy", "c"}, {"all_proxy", "d"}}, "a b c"},
         }) {
        const auto hosts = ProxyHosts::ofVariables([&all = variables](auto name) { return known(all, name); });
        EXPECT_EQ(hosts.http.value_or("-") + " " + hosts.https.value_or("-") + " " + hosts.socks.value_or("-"),
                  expected);
    }
}

TEST(LinuxFacts, ADesktopsProxiesStandInTheUsersConfiguration) {
    const TemporaryTree tree;
    for (const char* folder : {"own", "home/.config", "relative"})
        tree.write(folder + std::string("/kioslaverc"), "[Proxy Settings]\nProxyType=1\nhttpProxy=http://a 8080\n");
    const RootDirectory root(tree.root());
    VirtualClock clock;
    for (const auto& [own, home, isOn] :
         {std::tuple{"/own", "/none", true}, {"relative", "/home", true}, {"relative", "home", false}}) {
        FakeSystemSettings settings;
        settings.variables = {{"XDG_CONFIG_HOME", own}, {"HOME", home}};
        EXPECT_EQ(Proxies(root, settings, clock).read().isOn, isOn) << own << ' ' << home;
    }
}

template <class Record>
std::string bytesOf(const Record& record) {
    return {reinterpret_cast<const char*>(&record), sizeof record};
}

std::string attribute(int kind, std::string value) {
    const rtattr head{static_cast<std::uint16_t>(RTA_LENGTH(value.size())), static_cast<std::uint16_t>(kind)};
    value.resize(RTA_ALIGN(value.size()));
    return bytesOf(head) + value;
}

/// What is told by a message of the kernel's: a record and the attributes behind it.
template <class Record>
std::string toldBy(std::uint16_t type, const Record& record, const std::string& attributes) {
    nlmsghdr head{};
    head.nlmsg_len = static_cast<std::uint32_t>(sizeof head + sizeof record + attributes.size());
    head.nlmsg_type = type;
    const std::string bytes = bytesOf(head) + bytesOf(record) + attributes;
    const auto& message = *reinterpret_cast<const nlmsghdr*>(bytes.data());
    const auto found = type == RTM_NEWADDR ? parseAddress(message) : parseRoute(message);
    return found ? found->interface + " " + std::to_string(found->ipv4) : "-";
}

TEST(LinuxFacts, TheKernelsMessagesTellOfAddressesAndRoutes) {
    const std::string here("\x0A\0\0\x05", 4), there("\x0A\0\0\x09", 4), nowhere(4, '\0');
    const std::string local = attribute(IFA_LOCAL, here), peer = attribute(IFA_ADDRESS, there);
    ifaddrmsg record{};
    record.ifa_family = AF_INET;
    EXPECT_EQ(toldBy(RTM_NEWADDR, record, peer + local + attribute(IFA_LABEL, "eth0:1")), "eth0 167772165");
    for (const std::string& text : {peer, attribute(IFA_LOCAL, here + here)})
        EXPECT_EQ(toldBy(RTM_NEWADDR, record, text + attribute(IFA_LABEL, "eth0")), "-");
    record.ifa_flags = IFA_F_SECONDARY;
    EXPECT_EQ(toldBy(RTM_NEWADDR, record, local + attribute(IFA_LABEL, "eth0")), "-");
    const std::string lo = bytesOf(::if_nametoindex("lo"));
    const std::string source = attribute(RTA_PREFSRC, here), out = attribute(RTA_OIF, lo);
    rtmsg route{};
    route.rtm_type = RTN_UNICAST;
    EXPECT_EQ(toldBy(RTM_NEWROUTE, route, attribute(RTA_IIF, nowhere) + out + source), "lo 167772165");
    EXPECT_EQ(toldBy(RTM_NEWLINK, route, out + source), "-");
    for (const std::string& text : {out, source, out + attribute(RTA_PREFSRC, nowhere), attribute(RTA_IIF, lo) + source,
                                    attribute(RTA_OIF, lo + lo) + source, attribute(RTA_OIF, nowhere) + source})
        EXPECT_EQ(toldBy(RTM_NEWROUTE, route, text), "-");
    route.rtm_type = RTN_UNREACHABLE;
    EXPECT_EQ(toldBy(RTM_NEWROUTE, route, out + source), "-");
}

TEST(LinuxFacts, TheMachineAndItsSystemHaveNames) {
    const TemporaryTree tree;
    LinuxMachine machine(tree.root());
    SystemFacts& facts = machine.services().systemFacts;
    // What is there more, and what is then said of the system, the model and the processor.
    for (const auto& [file, content, names] : std::initializer_list<std::tuple<std::string, std::string, std::string>>{
             {"proc/sys/kernel/hostname", "secret\n", "Linux|?|?"},
             {"proc/sys/kernel/osrelease", "6.18.44\n", "Linux 6.18.44|?|?"},
             {"usr/lib/os-release", "PRETTY_NAME=Plain\n", "Plain, Linux 6.18.44|?|?"},
             {"etc/os-release", "NAME=\"D\"\nPRETTY_NAME=\"D \\\"12\\\"\"\n", "D \"12\", Linux 6.18.44|?|?"},
             {"proc/sys/kernel/osrelease", "6", "D \"12\", Linux 6|?|?"},
             {"proc/cpuinfo", "cpu\t: x\nmodel name\t:   Xeon 2\nmodel name\t: y\n", "D \"12\", Linux 6|?|Xeon 2"},
             {"proc/cpuinfo", "model name\t: ARMv8\nCPU implementer\t: 0x41\n", "D \"12\", Linux 6|?|ARMv8"},
             {"sys/devices/soc0/machine", "SM8550\n", "D \"12\", Linux 6|?|SM8550"},
             {"proc/device-tree/model", {"Board 4\0", 8}, "D \"12\", Linux 6|Board 4|SM8550"},
             {"sys/class/dmi/id/product_name", "Laptop 14\n", "D \"12\", Linux 6|Laptop 14|SM8550"},
             {"usr/lib/os-release", "", "D \"12\", Linux 6|Laptop 14|SM8550"},
             {"etc/os-release", "PRETTY_NAME=\"\"\n", "Linux 6|Laptop 14|SM8550"}}) {
        tree.write(file, content);
        EXPECT_EQ(facts.systemVersion() + "|" + facts.hardwareModel().value_or("?") + "|" +
                      facts.processorName().value_or("?"),
                  names);
    }
    EXPECT_EQ(facts.bundleText("CFBundleVersion"), ZQM_VERSION);
    EXPECT_FALSE(facts.bundleText("CFBundleName"));
}

TEST(LinuxFacts, ThisMachinesAddressIsOneOfTheSystemLibrarys) {
    ifaddrs* list = nullptr;
    ASSERT_EQ(::getifaddrs(&list), 0);
    const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> owner(list, ::freeifaddrs);
    std::set<std::string> expected;
    bool leadsOut = false;  // by an interface with a usual name
    for (const ifaddrs* each = list; each; each = each->ifa_next) {
        if (!each->ifa_addr || each->ifa_addr->sa_family != AF_INET) continue;
        expected.insert(::inet_ntoa(reinterpret_cast<const sockaddr_in*>(each->ifa_addr)->sin_addr));
        leadsOut = leadsOut || std::string_view(each->ifa_name).starts_with("eth0");
    }
    LinuxMachine machine;
    FakePlatform process;
    Platform platform = platformOn(machine, process);
    IPReader reader(platform);
    for (int repetition = 0; repetition < 3; ++repetition) {  // on one socket
        const std::string found = reader.sample().localIPv4;
        EXPECT_TRUE(found.empty() ? !leadsOut : expected.contains(found)) << found;
        EXPECT_FALSE(found.starts_with("127."));
    }
}

TEST(LinuxFacts, ReadingSlowFrequenciesIsSpreadOverTicks) {
    const TemporaryTree tree;
    const auto setAll = [&](int megahertz) {
        for (char number = '0'; number < '8'; ++number) {
            tree.write(std::string("sys/devices/system/cpu/cpu") + number + "/cpufreq/scaling_cur_freq",
                       std::to_string(megahertz) + "000\n");
        }
    };
    tree.write("proc/stat",
               "cpu0 1 0 1 1\ncpu1 1 0 1 1\ncpu2 1 0 1 1\ncpu3 1 0 1 1\n"
               "cpu4 1 0 1 1\ncpu5 1 0 1 1\ncpu6 1 0 1 1\ncpu7 1 0 1 1\n");
    setAll(1000);
    VirtualClock clock;
    LinuxMachine machine(tree.root(), clock);
    MachineReadings& readings = *machine.services().readings;
    readings.clocks();
    clock.perLook = Seconds(0.017);  // of a firmware that answers slowly
    // 20 ms a tick at 17 ms each: the second overdraws by 14 ms, which the next ticks have to do without.
    std::vector<std::size_t> fresh;
    for (int tick = 1; tick <= 8; ++tick) {
        setAll(1000 + tick);
        const auto clocks = readings.clocks();
        fresh.push_back(0);
        for (const ProcessorClock& read : clocks) fresh.back() += read.megahertz == 1000 + tick;
    }
    EXPECT_EQ(fresh, (std::vector<std::size_t>{2, 1, 1, 1, 1, 2, 1, 1}));
    for (const ProcessorClock& read : readings.clocks()) EXPECT_GT(read.megahertz, 1000) << "each has had its turn";
}

}  // namespace
}  // namespace zqm
