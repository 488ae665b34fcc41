#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <ifaddrs.h>

#include <memory>
#include <set>

#include "Platform/Linux/LinuxMachine.h"
#include "Platform/Linux/Network/ProxyHosts.h"
#include "ZQMHelper/Shared/FrequencyReader.h"
#include "ZQMHelper/Shared/IPReader.h"
#include "tests/fakes/TreeText.h"
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
    using Variables = std::map<std::string, std::string, std::less<>>;
    for (const auto& [variables, expected] : std::initializer_list<std::pair<Variables, std::string>>{
             {{{"HTTP_PROXY", "big"}, {"http_proxy", "small"}}, "small - -"},
             {{{"HTTP_PROXY", "big"}, {"http_proxy", ""}}, "big - -"},
             {{{"all_proxy", "socks5h://a:1080"}}, "- - a"},
             {{{"ALL_PROXY", "a"}, {"https_proxy", "b"}}, "a b -"},
             {{{"http_proxy", "socks://a"}, {"all_proxy", "socks4://b"}}, "- - a"},
             {{{"http_proxy", "a"}, {"HTTPS_PROXY", "b"}, {"socks_proxy", "c"}, {"all_proxy", "d"}}, "a b c"},
         }) {
        const auto hosts = ProxyHosts::ofVariables([&known = variables](std::string_view name) {
            const auto found = known.find(name);
            return found == known.end() ? std::nullopt : std::optional(found->second);
        });
        EXPECT_EQ(hosts.http.value_or("-") + " " + hosts.https.value_or("-") + " " + hosts.socks.value_or("-"),
                  expected);
    }
}

TEST(LinuxFacts, TheMachineAndItsSystemHaveNames) {
    const TemporaryTree tree;
    LinuxMachine machine(tree.root());
    SystemFacts& facts = machine.services().systemFacts;
    struct Step {
        std::string_view file, content;  // what is there more
        std::string system;
        std::optional<std::string> model, processor;
    };
    for (const auto& [file, content, system, model, processor] : std::initializer_list<Step>{
             {"proc/sys/kernel/hostname", "secret\n", "Linux", {}, {}},
             {"proc/sys/kernel/osrelease", "6.18.44\n", "Linux 6.18.44", {}, {}},
             {"usr/lib/os-release", "PRETTY_NAME=Plain\n", "Plain, Linux 6.18.44", {}, {}},
             {"etc/os-release", "NAME=\"D\"\nPRETTY_NAME=\"D \\\"12\\\"\"\n", "D \"12\", Linux 6.18.44", {}, {}},
             {"proc/cpuinfo", "cpu\t: x\nmodel name\t:   Xeon 2\nmodel name\t: y\n", {}, {}, "Xeon 2"},
             {"proc/cpuinfo", "model name\t: ARMv8\nCPU implementer\t: 0x41\n", {}, {}, "ARMv8"},
             {"sys/devices/soc0/machine", "SM8550\n", {}, {}, "SM8550"},
             {"proc/device-tree/model", {"Board 4\0", 8}, {}, "Board 4", "SM8550"},
             {"sys/class/dmi/id/product_name", "Laptop 14\n", {}, "Laptop 14", "SM8550"},
         }) {
        tree.write(file, content);
        EXPECT_EQ(facts.systemVersion(), system.empty() ? "D \"12\", Linux 6.18.44" : system);
        EXPECT_EQ(facts.hardwareModel(), model) << file;
        EXPECT_EQ(facts.processorName(), processor) << file;
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

/// Every look at it takes time, as reading does on a machine whose firmware answers slowly.
struct SlowClock final : Clock {
    explicit SlowClock(VirtualClock& virtualClock) : time(virtualClock) {}
    WallTime wall() override { return time.wall(); }
    MonotonicTime monotonic() override {
        time.advance(perLook);
        return time.monotonic();
    }
    ContinuousTime continuous() override { return time.continuous(); }
    void sleep(Seconds duration) override { time.advance(duration); }
    VirtualClock& time;
    Seconds perLook{0};
};

TEST(LinuxFacts, ReadingSlowFrequenciesIsSpreadOverTicks) {
    const TemporaryTree tree;
    const auto setAll = [&](int kilohertz) {
        for (char processor = '0'; processor < '8'; ++processor) {
            const std::string directory = std::string("sys/devices/system/cpu/cpu") + processor + "/cpufreq/";
            tree.write(directory + "scaling_cur_freq", std::to_string(kilohertz) + "\n");
            tree.write(directory + "cpuinfo_min_freq", "500000\n");
            tree.write(directory + "cpuinfo_max_freq", "4000000\n");
        }
    };
    std::string ticks;
    for (char processor = '0'; processor < '8'; ++processor) ticks += std::string("cpu") + processor + " 1 0 1 1\n";
    tree.write("proc/stat", ticks);
    setAll(1000000);
    FakePlatform process;
    SlowClock clock(process.clock);
    LinuxMachine machine(tree.root(), clock);
    Platform platform = platformOn(machine, process);
    FrequencyReader reader(platform);
    reader.sample();
    clock.perLook = Seconds(0.016);
    int most = 0;
    int all = 0;
    std::set<std::string> read;
    for (int tick = 1; tick <= 8; ++tick) {
        setAll(1000000 + tick * 1000);
        clock.time.advance(Seconds(1));
        int fresh = 0;
        for (const auto& [name, megahertz] : reader.sample().perCoreMHz) {
            if (megahertz <= 1000 + tick - 0.5) continue;
            ++fresh;
            read.insert(name);
        }
        most = std::max(most, fresh);
        all += fresh;
    }
    // 20 ms at 16 ms each, and the first may overdraw; a sample may look twice.
    EXPECT_LE(most, 4);
    EXPECT_LE(all, 22);
    EXPECT_EQ(read.size(), 8u) << "each has had its turn";
}

}  // namespace
}  // namespace zqm
