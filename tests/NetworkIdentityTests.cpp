#include <gtest/gtest.h>

#include <tuple>

#include "ZQMHelper/Shared/Deployment.h"
#include "ZQMHelper/Shared/IPReader.h"
#include "tests/fakes/MachinePlatform.h"

namespace zqm {
namespace {

TEST(NetworkIdentity, KnowsItsOwnAddressAndItsTunnel) {
    DescribedPlatform machine(R"({"interfaceAddresses": {"list": [
        [{"name": "en1", "ipv4": "192.168.1.20"}, {"name": "en0", "ipv4": "192.168.1.10"},
         {"name": "awdl0", "ipv4": "169.254.0.1"}, {"name": "utun4", "ipv4": "10.8.0.2"}, {"name": "ppp0", "ipv4": "0.0.0.1"}],
        [{"name": "lo0", "ipv4": "127.0.0.1"}, {"name": "en5", "ipv4": "10.8.0.2"}],
        [{"name": "awdl0", "ipv4": "169.254.0.1"}]]}})");
    IPReader reader;
    for (const auto& [own, tunnel] : {std::pair{"192.168.1.10", "10.8.0.2"}, {"10.8.0.2", ""}, {"", ""}}) {
        const auto identity = reader.sample();
        EXPECT_EQ(identity.localIPv4, own);
        EXPECT_EQ(identity.utunGateway, tunnel);
        EXPECT_EQ(identity.proxyDetected, *tunnel != '\0');
    }
}

TEST(NetworkIdentity, ProxiesAreWhatTheSystemSwitchesOn) {
    for (const auto& [settings, host] : {std::pair{R"("HTTPEnable": 1, "HTTPProxy": "proxy.lan")", "proxy.lan"},
                                         {R"("SOCKSEnable": 1, "HTTPProxy": 5.0, "SOCKSProxy": "socks")", "socks"},
                                         {R"("HTTPEnable": 2, "SOCKSEnable": true, "HTTPProxy": "off")", ""}}) {
        DescribedPlatform machine(R"({"systemFacts": {"proxySettings": {)" + std::string(settings) + "}}}");
        const auto proxy = IPReader::detectProxy(machine.platform, {});
        EXPECT_EQ(proxy.enabled, *host != '\0');
        EXPECT_EQ(proxy.host, host);
    }
}

TEST(NetworkIdentity, IsLookedUpOnceAMinuteAndWhenTheProxyChanges) {
    DescribedPlatform machine(
        R"({"systemFacts": {"proxySettings": {"list": [null, null, null, null, {"HTTPEnable": 1}]}}})");
    machine.process.systemSettings.variables["ZQM_GEOLOCATION_HOST"] = "geo.example:8443";
    FakeHttpClient& net = machine.process.httpClient;
    const auto answer = [&](std::string body) {
        net.completions.back()({.error = {}, .status = 200, .body = std::move(body)});
        machine.process.loop.runFor(Seconds(0));
    };
    auto reader = std::make_unique<IPReader>();
    EXPECT_EQ(reader->sample().publicIP, "");
    ASSERT_EQ(net.requests.size(), 1u);
    EXPECT_EQ(net.requests[0].url, "https://geo.example:8443/");
    answer(R"({"success":true,"ip":"203.0.113.7","country_code":"jp","country":"Japan"})");
    EXPECT_EQ(reader->sample().publicIP, "203.0.113.7");
    machine.process.clock.advance(Seconds(60));
    const auto known = reader->sample();
    EXPECT_EQ(known.regionFlag + known.regionName, "🇯🇵Japan");
    EXPECT_EQ(net.requests.size(), 1u);
    machine.process.clock.continuousTime += Seconds(1);  // asleep, by the other clocks
    for (const std::size_t requests : {2u, 3u, 3u}) {    // for the time, for the proxy
        reader->sample();
        EXPECT_EQ(net.requests.size(), requests);
    }
    net.completions.back()({.error = "no route to host", .status = {}, .body = {}});
    answer(R"({"success":false,"ip":"1.2.3.4"})");
    EXPECT_EQ(reader->sample().publicIP, "203.0.113.7");  // failures leave what is known
    reader.reset();
    answer(R"({"success":true,"ip":"too late"})");
}

TEST(NetworkIdentity, TakesNoReplyWithoutAnAddress) {
    for (const char* reply : {R"({"success":true})", R"({"success":true,"ip":5})", R"({"ip":"1.2.3.4"})", "[]"}) {
        EXPECT_FALSE(IPReader::parseReply(reply)) << reply;
    }
}

TEST(NetworkIdentity, ShowsTheFlagsOfKnownCountriesAlone) {
    for (const auto& [code, characters] : {std::pair{"hU", "🇭🇺"}, {"EE", "🌐"}, {"", "🌐"}, {"USA", "🌐"}}) {
        EXPECT_EQ(flag(code), characters) << code;
    }
}

TEST(NetworkIdentity, AsksNobodyWithoutAHost) {
    FakePlatform machine;
    for (const char* host :
         {"", "geo.example/path", "user@geo.example", "geo.example\r\nX: y", "geo.example:0", "geo.example:65536",
          "geo.example:", ":443", "[::1", "-geo", "geo..example", "[]", "[::]", "[::1g]"}) {
        machine.systemSettings.variables["ZQM_GEOLOCATION_HOST"] = host;
        IPReader().sample();
        EXPECT_TRUE(machine.httpClient.requests.empty()) << host;
    }
    for (const std::string host : {"[2001:db8::1]:443", "[::1]"})
        EXPECT_EQ(secureUrl(host, "/x"), "https://" + host + "/x");
}

}  // namespace
}  // namespace zqm
