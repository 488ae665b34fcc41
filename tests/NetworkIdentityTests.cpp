#include <gtest/gtest.h>

#include "ZQMHelper/Shared/CountryFlag.h"
#include "ZQMHelper/Shared/Deployment.h"
#include "ZQMHelper/Shared/IPReader.h"
#include "tests/fakes/FakePlatform.h"

namespace zqm {
namespace {

constexpr std::uint32_t address(unsigned a, unsigned b, unsigned c, unsigned d) {
    return a << 24 | b << 16 | c << 8 | d;
}

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
    machine.interfaceAddresses.list = {{{"en1", address(192, 168, 1, 20)},
                                        {"en0", address(192, 168, 1, 10)},
                                        {"en2", address(192, 168, 1, 30)},
                                        {"awdl0", address(169, 254, 0, 1)},
                                        {"lo0", address(127, 0, 0, 1)},
                                        {"utun4", address(10, 8, 0, 2)},
                                        {"ppp0", address(10, 9, 0, 2)}}};
    IPReader reader;
    auto identity = reader.sample();
    EXPECT_EQ(identity.localIPv4, "192.168.1.10");
    EXPECT_EQ(identity.utunGateway, "10.8.0.2");
    EXPECT_TRUE(identity.proxyDetected);
    machine.interfaceAddresses.list = {{{"lo0", address(127, 0, 0, 1)}, {"en5", address(10, 0, 0, 1)}}};
    identity = reader.sample();
    EXPECT_EQ(identity.localIPv4, "10.0.0.1");
    EXPECT_EQ(identity.utunGateway, "");
    EXPECT_FALSE(identity.proxyDetected);
    machine.interfaceAddresses.list = std::nullopt;
    EXPECT_EQ(reader.sample().localIPv4, "");
}

TEST_F(NetworkIdentity, ProxiesAreWhatTheSystemSwitchesOn) {
    struct Case {
        PropertyDictionary settings;
        bool enabled;
        std::string host;
    };
    for (const auto& [settings, enabled, host] : std::initializer_list<Case>{
             {{{"HTTPEnable", std::int64_t{1}}, {"HTTPProxy", std::string("proxy.lan")}}, true, "proxy.lan"},
             {{{"HTTPSEnable", std::int64_t{1}}, {"HTTPSProxy", std::string("unread")}}, true, ""},
             {{{"SOCKSEnable", std::int64_t{1}}, {"HTTPProxy", 5.0}, {"SOCKSProxy", std::string("socks")}},
              true,
              "socks"},
             {{{"HTTPEnable", std::int64_t{2}}, {"SOCKSEnable", true}, {"HTTPProxy", std::string("off")}}, false, ""},
         }) {
        machine.proxySettings.proxies = settings;
        const auto proxy = IPReader::detectProxy(machine.proxySettings, {});
        EXPECT_EQ(proxy.enabled, enabled);
        EXPECT_EQ(proxy.host, host);
    }
    machine.proxySettings.proxies = std::nullopt;
    EXPECT_EQ(IPReader::detectProxy(machine.proxySettings, {.physical = "", .active = "10.8.0.2"}).host, "10.8.0.2");
}

TEST_F(NetworkIdentity, IsLookedUpOnceAMinuteAndWhenTheProxyChanges) {
    IPReader reader;
    EXPECT_EQ(reader.sample().publicIP, "");
    ASSERT_EQ(net.requests.size(), 1u);
    EXPECT_EQ(net.requests[0].url, "https://geo.example:8443/");
    EXPECT_EQ(net.requests[0].method, "GET");
    answer(R"({"success":true,"ip":"203.0.113.7","country_code":"jp","country":"Japan"})");
    EXPECT_EQ(reader.sample().publicIP, "203.0.113.7");
    machine.clock.advance(Seconds(60));
    const auto known = reader.sample();
    EXPECT_EQ(known.regionFlag, "🇯🇵");
    EXPECT_EQ(known.regionName, "Japan");
    EXPECT_EQ(net.requests.size(), 1u);
    machine.clock.continuousTime += Seconds(1);  // asleep, by the other clocks
    reader.sample();
    EXPECT_EQ(net.requests.size(), 2u);
    machine.proxySettings.proxies = PropertyDictionary{{"HTTPEnable", std::int64_t{1}}};
    reader.sample();
    reader.sample();
    EXPECT_EQ(net.requests.size(), 3u);
    net.completions.back()({.error = "no route to host", .status = {}, .body = {}});
    answer(R"({"success":false,"ip":"1.2.3.4"})");
    EXPECT_EQ(reader.sample().publicIP, "203.0.113.7");  // failures leave what is known
}

TEST_F(NetworkIdentity, AnAnswerMayComeTooLate) {
    {
        IPReader reader;
        reader.sample();
    }
    answer(R"({"success":true,"ip":"203.0.113.7"})");
}

TEST_F(NetworkIdentity, TakesOnlyWellFormedReplies) {
    EXPECT_EQ(IPReader::parseReply(R"({"success":true,"ip":"::1","country_code":7,"country":null})")->flag, "🌐");
    for (const char* body :
         {"", "[]", "no", R"({"ip":"1.2.3.4"})", R"({"success":1,"ip":"1.2.3.4"})",
          R"({"success":"true","ip":"1.2.3.4"})", R"({"success":true})", R"({"success":true,"ip":4})"}) {
        EXPECT_FALSE(IPReader::parseReply(body)) << body;
    }
}

TEST_F(NetworkIdentity, AsksNobodyWithoutAHost) {
    for (const char* host :
         {"", "geo.example/path", "user@geo.example", "geo example", "geo.example\r\nX: y", "geo.example:0",
          "geo.example:65536", "geo.example:", ":443", "[::1", "-geo", "geo..example", "[]"}) {
        machine.systemSettings.variables["ZQM_GEOLOCATION_HOST"] = host;
        IPReader().sample();
        EXPECT_TRUE(net.requests.empty()) << host;
    }
    EXPECT_EQ(secureUrl("[2001:db8::1]:443", "/"), "https://[2001:db8::1]:443/");
    EXPECT_EQ(secureUrl("203.0.113.7", "/x"), "https://203.0.113.7/x");
}

TEST(CountryFlag, IsThatOfAKnownCode) {
    for (const auto& [code, characters] : std::initializer_list<std::pair<const char*, const char*>>{
             {"us", "🇺🇸"}, {"US", "🇺🇸"}, {"hU", "🇭🇺"}, {"EE", "🌐"}, {"XX", "🌐"}, {"", "🌐"}, {"USA", "🌐"}}) {
        EXPECT_EQ(flag(code), characters) << code;
    }
}

}  // namespace
}  // namespace zqm
