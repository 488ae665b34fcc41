#include <gtest/gtest.h>

#include <tuple>

#include "ZQMHelper/Shared/Deployment.h"
#include "ZQMHelper/Shared/IPReader.h"
#include "tests/fakes/FakePlatform.h"

namespace zqm {
namespace {

struct NetworkIdentity : testing::Test {
    FakePlatform machine;
    FakeHttpClient& net = machine.httpClient;

    void SetUp() override { machine.systemSettings.variables["ZQM_GEOLOCATION_HOST"] = "geo.example:8443"; }
    void answer(std::string body) {
        net.completions.back()({.error = {}, .status = 200, .body = std::move(body)});
        machine.loop.runFor(Seconds(0));
    }
};

TEST_F(NetworkIdentity, KnowsItsOwnAddressAndItsTunnel) {
    constexpr std::uint32_t own = 0xC0A8010A, other = 0xC0A80114, link = 0xA9FE0001, tunnel = 0x0A080002;
    IPReader reader;
    machine.interfaceAddresses.list = {{{"en1", other}, {"en0", own}, {"awdl0", link}, {"utun4", tunnel}, {"ppp0", 1}}};
    auto identity = reader.sample();
    EXPECT_EQ(identity.localIPv4 + " " + identity.utunGateway, "192.168.1.10 10.8.0.2");
    EXPECT_TRUE(identity.proxyDetected);
    machine.interfaceAddresses.list = {{{"lo0", 0x7F000001}, {"en5", tunnel}}};
    identity = reader.sample();
    EXPECT_EQ(identity.localIPv4 + " " + identity.utunGateway, "10.8.0.2 ");
    EXPECT_FALSE(identity.proxyDetected);
}

TEST_F(NetworkIdentity, ProxiesAreWhatTheSystemSwitchesOn) {
    using Text = std::string;
    constexpr std::int64_t on = 1, two = 2;
    for (const auto& [settings, enabled, host] : std::initializer_list<std::tuple<PropertyDictionary, bool, Text>>{
             {{{"HTTPEnable", on}, {"HTTPProxy", Text("proxy.lan")}}, true, "proxy.lan"},
             {{{"SOCKSEnable", on}, {"HTTPProxy", 5.0}, {"SOCKSProxy", Text("socks")}}, true, "socks"},
             {{{"HTTPEnable", two}, {"SOCKSEnable", true}, {"HTTPProxy", Text("off")}}, false, ""},
         }) {
        machine.proxySettings.proxies = settings;
        const auto proxy = IPReader::detectProxy(machine.platform, {});
        EXPECT_EQ(proxy.enabled, enabled);
        EXPECT_EQ(proxy.host, host);
    }
}

TEST_F(NetworkIdentity, IsLookedUpOnceAMinuteAndWhenTheProxyChanges) {
    auto reader = std::make_unique<IPReader>();
    EXPECT_EQ(reader->sample().publicIP, "");
    ASSERT_EQ(net.requests.size(), 1u);
    EXPECT_EQ(net.requests[0].url, "https://geo.example:8443/");
    answer(R"({"success":true,"ip":"203.0.113.7","country_code":"jp","country":"Japan"})");
    EXPECT_EQ(reader->sample().publicIP, "203.0.113.7");
    machine.clock.advance(Seconds(60));
    const auto known = reader->sample();
    EXPECT_EQ(known.regionFlag, "🇯🇵");
    EXPECT_EQ(known.regionName, "Japan");
    EXPECT_EQ(net.requests.size(), 1u);
    machine.clock.continuousTime += Seconds(1);  // asleep, by the other clocks
    reader->sample();
    EXPECT_EQ(net.requests.size(), 2u);
    machine.proxySettings.proxies = PropertyDictionary{{"HTTPEnable", std::int64_t{1}}};
    reader->sample();
    reader->sample();
    EXPECT_EQ(net.requests.size(), 3u);
    net.completions.back()({.error = "no route to host", .status = {}, .body = {}});
    answer(R"({"success":false,"ip":"1.2.3.4"})");
    EXPECT_EQ(reader->sample().publicIP, "203.0.113.7");  // failures leave what is known
    reader.reset();
    answer(R"({"success":true,"ip":"too late"})");
}

TEST_F(NetworkIdentity, ShowsTheFlagsOfKnownCountriesAlone) {
    for (const auto& [code, characters] : {std::pair{"hU", "🇭🇺"}, {"EE", "🌐"}, {"", "🌐"}, {"USA", "🌐"}}) {
        EXPECT_EQ(flag(code), characters) << code;
    }
}

TEST_F(NetworkIdentity, AsksNobodyWithoutAHost) {
    for (const char* host : {"", "geo.example/path", "user@geo.example", "geo.example\r\nX: y", "geo.example:0",
                             "geo.example:65536", "geo.example:", ":443", "[::1", "-geo", "geo..example", "[]"}) {
        machine.systemSettings.variables["ZQM_GEOLOCATION_HOST"] = host;
        IPReader().sample();
        EXPECT_TRUE(net.requests.empty()) << host;
    }
    EXPECT_EQ(secureUrl("[2001:db8::1]:443", "/x"), "https://[2001:db8::1]:443/x");
}

}  // namespace
}  // namespace zqm
