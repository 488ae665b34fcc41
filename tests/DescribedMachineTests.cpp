#include "Platform/Apple/ProxySettings.h"
#include "Platform/Described/DescribedMachine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>

#include "Platform/Apple/HostStatistics.h"
#include "Platform/Apple/IOReport.h"
#include "Platform/Apple/NetworkInterfaces.h"
#include "Platform/Apple/PowerSources.h"
#include "Platform/Apple/Registry.h"
#include "Platform/Apple/SMCRecord.h"
#include "Platform/Apple/Sysctl.h"
#include "Platform/Apple/TemperatureSensors.h"
#include "Platform/Machine/SystemFacts.h"
#include "Support/ByteOrder.h"
#include "tests/fakes/VirtualClock.h"

namespace zqm {
namespace {

class DescribedMachineTest : public testing::Test {
protected:
    DescribedMachine& describe(std::string_view text) {
        auto result = DescribedMachine::parse(text, clock_);
        if (auto* fault = std::get_if<MachineFault>(&result)) throw std::runtime_error(fault->message);
        machine_ = std::get<std::unique_ptr<DescribedMachine>>(std::move(result));
        return *machine_;
    }
    std::string faultOf(std::string_view text) {
        const auto result = DescribedMachine::parse(text, clock_);
        const auto* fault = std::get_if<MachineFault>(&result);
        return fault ? fault->message : "none";
    }
    /// The property "value" of a drive that is described by this text, at each of `readings`, one second apart.
    std::vector<std::optional<PropertyValue>> readProperty(const std::string& value, int readings) {
        auto& machine = describe(R"({"registry": {"Drive": [{"name": "d", "properties": {"value": )" + value + "}}]}}");
        const auto drives = machine.services().registry.services("Drive");
        std::vector<std::optional<PropertyValue>> values;
        for (int i = 0; i < readings; ++i) {
            values.push_back((*drives)[0]->property("value"));
            clock_.advance(Seconds(1));
        }
        return values;
    }

    VirtualClock clock_;
    std::unique_ptr<DescribedMachine> machine_;
};

TEST_F(DescribedMachineTest, CountersMoveWithTheClock) {
    auto& host = describe(R"({"hostStatistics": {"processors": [
        {"user": {"start": 100, "rate": 2.5}, "system": {"start": 4294967290, "rate": 4, "wrapBits": 32},
         "idle": {"start": 10, "rate": -6}, "nice": {"start": 18446744073709551610, "rate": 100}}]}})")
                     .services()
                     .hostStatistics;
    EXPECT_THAT(*host.processorTicks(),
                testing::ElementsAre(ProcessorTicks{100, 4294967290, 10, 18446744073709551610u}));
    clock_.advance(Seconds(3));
    // The one rounds down, the next wraps past 2^32, the others stop at the bounds of a counter.
    EXPECT_THAT(*host.processorTicks(), testing::ElementsAre(ProcessorTicks{107, 6, 0, 18446744073709551615u}));
    clock_.continuousTime += Seconds(60);  // the machine slept
    EXPECT_EQ((*host.processorTicks())[0].user, 107u);
}

TEST_F(DescribedMachineTest, ListsMoveWithTheReadingsAndStayInStep) {
    auto& host = describe(R"({"hostStatistics": {"pageSize": {"list": [4096, null, 16384]},
        "processors": [{"user": {"list": [1, null, 3]}, "system": {"list": [10, 20, 30]}, "idle": 0, "nice": 0}]}})")
                     .services()
                     .hostStatistics;
    EXPECT_EQ(host.pageSize(), 4096u);
    EXPECT_EQ(host.pageSize(), std::nullopt);
    EXPECT_EQ(host.pageSize(), 16384u);
    EXPECT_EQ(host.pageSize(), 16384u);
    EXPECT_THAT(*host.processorTicks(), testing::ElementsAre(ProcessorTicks{1, 10, 0, 0}));
    EXPECT_EQ(host.processorTicks(), std::nullopt);
    EXPECT_THAT(*host.processorTicks(), testing::ElementsAre(ProcessorTicks{3, 30, 0, 0}));
}

TEST_F(DescribedMachineTest, WhatIsLeftOutOrNullFails) {
    auto& bare = describe("{}");
    EXPECT_EQ(bare.services().hostStatistics.processorTicks(), std::nullopt);
    EXPECT_FALSE(bare.services().hostStatistics.virtualMemory());
    EXPECT_FALSE(bare.services().networkInterfaces.links());
    EXPECT_FALSE(bare.services().sysctl.read("hw.memsize"));
    EXPECT_FALSE(bare.services().ioReport.open("/usr/lib/libIOReport.dylib"));
    EXPECT_FALSE(bare.services().powerSources.descriptions() || bare.services().powerSources.adapterDetails());
    EXPECT_FALSE(bare.services().temperatureSensors.sensors());
    EXPECT_TRUE(bare.services().registry.services("AppleARMPE")->empty());

    auto& failing = describe(R"({"registry": {"Gone": null, "Later": {"list": [null, []]},
                                              "Odd": [{"name": null, "children": null}]}})");
    EXPECT_FALSE(failing.services().registry.services("Gone"));
    EXPECT_FALSE(failing.services().registry.services("Later"));
    EXPECT_TRUE(failing.services().registry.services("Later"));
    const auto odd = failing.services().registry.services("Odd");
    EXPECT_FALSE((*odd)[0]->name());
    EXPECT_FALSE((*odd)[0]->children());
}

TEST_F(DescribedMachineTest, SysctlsHaveTheKernelsBytes) {
    auto& sysctl = describe(R"({"sysctl": {
        "text": "E", "level": {"integer": -2, "width": 4}, "moving": {"integer": {"start": 255, "rate": 1}, "width": 2},
        "record": {"bytes": [{"integer": 1, "width": 2}, "ff 00", "Ab"]},
        "cut": {"bytes": ["00", {"integer": null, "width": 1}]}}})")
                       .services().sysctl;
    clock_.advance(Seconds(1));
    EXPECT_EQ(sysctl.read("text"), (Bytes{'E', 0}));
    EXPECT_EQ(sysctl.read("level"), (Bytes{0xFE, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(sysctl.read("moving"), (Bytes{0x00, 0x01}));
    EXPECT_EQ(sysctl.read("record"), (Bytes{1, 0, 0xFF, 0, 0xAB}));
    EXPECT_EQ(sysctl.read("cut"), std::nullopt);
}

TEST_F(DescribedMachineTest, PropertiesKeepTheirTypes) {
    struct Case {
        const char* text;
        std::vector<std::optional<PropertyValue>> values;
    };
    const PropertyDictionary inner{{"z", std::int64_t{1}}, {"a", true}};
    for (const auto& [text, values] : std::vector<Case>{
             {"-3", {std::int64_t{-3}}},
             {"2.0", {2.0}},
             {"\"pmgr\"", {std::string("pmgr")}},
             {R"({"bytes": "4500"})", {Bytes{'E', 0}}},
             {R"({"z": 1, "gone": null, "a": true})", {inner}},
             {R"({"dictionary": {"bytes": 5}})", {PropertyDictionary{{"bytes", std::int64_t{5}}}}},
             {R"([1, null, "x"])", {PropertyArray{std::int64_t{1}, std::string("x")}}},
             {R"({"start": 32766, "rate": 1, "wrapBits": 15})",
              {std::int64_t{32766}, std::int64_t{32767}, std::int64_t{0}}},
             {R"({"start": 40.5, "rate": -0.5})", {40.5, 40.0}},
             {R"({"float": "inf"})", {INFINITY}},
             {R"({"list": [{"n": 1}, null, "last"]})",
              {PropertyDictionary{{"n", std::int64_t{1}}}, std::nullopt, std::string("last"), std::string("last")}},
         }) {
        EXPECT_EQ(readProperty(text, static_cast<int>(values.size())), values) << text;
    }
}

TEST_F(DescribedMachineTest, InterfacesWithoutCountersStayInTheList) {
    auto& network = describe(R"({"networkInterfaces": [{"name": "en0", "received": 5, "sent": {"list": [7, null]}},
                                                       {"name": "utun0"}]})")
                        .services().networkInterfaces;
    const auto first = network.links();
    ASSERT_EQ(first->size(), 2u);
    EXPECT_EQ((*first)[0].counters->sent, 7u);
    EXPECT_FALSE((*first)[1].counters);
    EXPECT_FALSE((*network.links())[0].counters);
}

TEST_F(DescribedMachineTest, SystemFactsAndAddressesMayFail) {
    auto& machine = describe(R"({
        "interfaceAddresses": {"list": [[{"name": "utun3", "ipv4": "10.8.0.2"}], null, []]},
        "systemFacts": {"proxySettings": {"list": [{"HTTPEnable": 1, "HTTPProxy": "proxy"}, null]},
                        "bundle": {"CFBundleVersion": "7"}, "systemVersion": {"list": ["Version 14", null]}}})");
    const auto addresses = machine.services().interfaceAddresses.ipv4().value();
    ASSERT_EQ(addresses.size(), 1u);
    EXPECT_EQ(addresses[0].name, "utun3");
    EXPECT_EQ(addresses[0].ipv4, 0x0A080002u);
    EXPECT_FALSE(machine.services().interfaceAddresses.ipv4());
    EXPECT_TRUE(machine.services().interfaceAddresses.ipv4()->empty());
    auto& facts = machine.services().systemFacts;
    const auto proxies = machine.services().proxySettings.proxySettings().value();
    EXPECT_EQ(asInteger(find(proxies, "HTTPEnable")), 1);
    EXPECT_EQ(*asText(find(proxies, "HTTPProxy")), "proxy");
    EXPECT_FALSE(machine.services().proxySettings.proxySettings());
    EXPECT_EQ(facts.bundleText("CFBundleVersion"), "7");
    EXPECT_FALSE(facts.bundleText("CFBundleShortVersionString"));
    EXPECT_EQ(facts.systemVersion(), "Version 14");
    EXPECT_EQ(facts.systemVersion(), "unknown");
    EXPECT_FALSE(describe("{}").services().interfaceAddresses.ipv4());
    EXPECT_FALSE(machine_->services().proxySettings.proxySettings());
}

/// The reply to one request of a controller's user client; nothing when the call fails.
std::optional<SMCRecord> ask(UserClient& client, const char* key, SMCCommand command) {
    SMCRecord request;
    request.key = fourCharacterCode(key);
    request.command = static_cast<std::uint8_t>(command);
    using Record = std::array<std::uint8_t, sizeof(SMCRecord)>;
    Record output{};
    if (!client.callStruct(2, std::bit_cast<Record>(request), output)) return std::nullopt;
    return std::bit_cast<SMCRecord>(output);
}

TEST_F(DescribedMachineTest, ControllersAnswerThroughTheirRecords) {
    auto& machine = describe(R"({"registry": {"SMC": [{"name": "open", "userClient": {
        "PSTR": {"type": "flt ", "value": {"start": 1.5, "rate": 0.5}},
        "TEMP": {"type": "ioft", "value": {"bytes": "0102030405060708"}, "result": {"list": [0, 7]}},
        "gone": null, "lost": {"type": "flt ", "value": null}}},
        {"name": "refuses", "userClient": null}, {"name": "none"}]}})");
    const auto services = *machine.services().registry.services("SMC");
    const auto client = services[0]->open(0);
    ASSERT_TRUE(client && machine.liveHandles() == 4);
    EXPECT_FALSE(services[0]->open(1) || services[1]->open(0) || services[2]->open(0));
    using enum SMCCommand;
    clock_.advance(Seconds(2));
    const auto info = *ask(*client, "PSTR", readKeyInfo);
    EXPECT_TRUE(info.result == 0 && info.keyInfo.dataType == 0x666C7420 && info.keyInfo.dataSize == 4);
    EXPECT_EQ(std::bit_cast<float>(littleEndian32(ask(*client, "PSTR", readKey)->value, 0)), 2.5f);
    EXPECT_EQ(ask(*client, "TEMP", readKeyInfo)->keyInfo.dataSize, 8u);
    EXPECT_EQ(ask(*client, "TEMP", readKey)->value[7], 8);
    EXPECT_EQ(ask(*client, "TEMP", readKey)->result, 7);
    EXPECT_EQ(ask(*client, "PBwo", readKeyInfo)->result, 0x84);  // there is no such key
    EXPECT_FALSE(ask(*client, "gone", readKeyInfo));
    EXPECT_TRUE(ask(*client, "lost", readKeyInfo) && !ask(*client, "lost", readKey));
    std::array<std::uint8_t, 79> small{};
    EXPECT_FALSE(client->callStruct(2, small, small));
}

TEST_F(DescribedMachineTest, CountersAreSampledAndSubtracted) {
    using enum ReportOperation;
    auto& machine = describe(R"({"ioReport": {"paths": ["/second"], "missingOperations": ["channelGetUnitLabel"],
        "subscriptions": {"list": [true, false]}, "samples": {"list": [true, true, false, null]},
        "groups": [
            {"group": "CPU", "subgroup": "a", "channels": [
                {"name": "E", "states": [{"name": "IDLE", "residency": 5}, {"name": null, "residency": {"start": 7, "rate": 2}}]}]},
            {"group": "CPU", "subgroup": "b", "channels": [{"unit": "mJ", "value": {"list": [10, 30, 20]}}]},
            {"group": "GPU", "subgroup": "a", "channels": null}]}})");
    EXPECT_FALSE(machine.services().ioReport.open("/first"));
    ReportLibrary& library = *machine.services().ioReport.open("/second");
    EXPECT_TRUE(library.has(copyChannelsInGroup) && library.has(stateGetResidency) &&
                !library.has(channelGetUnitLabel));
    EXPECT_FALSE(library.copyChannelsInGroup("GPU", std::nullopt) || library.copyChannelsInGroup("CPU", "c"));
    {
        const auto all = library.copyChannelsInGroup("CPU", std::nullopt);
        const auto merged = library.copyChannelsInGroup("CPU", "b")->mutableCopy();
        library.mergeChannels(*merged, *library.copyChannelsInGroup("CPU", "a"));
        ReportSubscription& subscription = *library.createSubscription(*merged);
        EXPECT_FALSE(library.createSubscription(*merged));
        const auto first = library.createSamples(subscription, *merged);
        clock_.advance(Seconds(3));
        const auto second = library.createSamples(subscription, *merged);
        EXPECT_FALSE(library.createSamples(subscription, *merged)->channels());
        EXPECT_FALSE(library.createSamples(subscription, *merged));
        const auto delta = library.createSamplesDelta(*first, *second);
        EXPECT_EQ(machine.liveHandles(), 5u);
        const auto channels = *delta->channels();
        ASSERT_EQ(channels.size(), 2u);
        EXPECT_FALSE(library.channelGetChannelName(*channels[0]));
        EXPECT_EQ(library.channelGetUnitLabel(*channels[0]), "mJ");
        EXPECT_EQ(library.simpleGetIntegerValue(*channels[0]), 20);
        EXPECT_EQ(library.stateGetCount(*channels[0]), 0);
        EXPECT_EQ(library.channelGetChannelName(*channels[1]), "E");
        EXPECT_EQ(library.stateGetCount(*channels[1]), 2);
        EXPECT_EQ(library.stateGetName(*channels[1], 0), "IDLE");
        EXPECT_FALSE(library.stateGetName(*channels[1], 1));
        EXPECT_EQ(library.stateGetResidency(*channels[1], 1), 6);
    }
    EXPECT_EQ(machine.liveHandles(), 0u);
}

TEST_F(DescribedMachineTest, PowerSourcesAndSensorsMayMissAnything) {
    auto& machine = describe(R"({
        "powerSources": {"sources": {"list": [[{"Type": "UPS"}, null, {"Max Capacity": {"list": [100, null]}}], null]},
                         "adapter": {"list": [{"Watts": 94}, 5, null]}},
        "temperatureSensors": {"list": [[{"product": "PMU tdie1", "temperature": {"list": [41, null]}},
                                         {"temperature": {"float": "-inf"}}, {"product": null}], null]}})");
    const auto sources = *machine.services().powerSources.descriptions();
    ASSERT_EQ(sources.size(), 3u);
    EXPECT_EQ(*asText(find(*sources[0], "Type")), "UPS");
    EXPECT_FALSE(sources[1]);
    EXPECT_EQ(asNumber(find(*sources[2], "Max Capacity")), 100);
    EXPECT_FALSE(machine.services().powerSources.descriptions());
    EXPECT_EQ(*machine.services().powerSources.adapterDetails(),
              PropertyValue(PropertyDictionary{{"Watts", std::int64_t{94}}}));
    EXPECT_EQ(*machine.services().powerSources.adapterDetails(), PropertyValue(std::int64_t{5}));
    EXPECT_FALSE(machine.services().powerSources.adapterDetails());
    {
        const auto sensors = *machine.services().temperatureSensors.sensors();
        EXPECT_EQ(machine.liveHandles(), 3u);
        EXPECT_EQ(sensors[0]->product(), "PMU tdie1");
        EXPECT_EQ(sensors[0]->temperature(), 41);
        EXPECT_FALSE(sensors[0]->temperature());
        EXPECT_FALSE(sensors[1]->product());
        EXPECT_EQ(sensors[1]->temperature(), -INFINITY);
        EXPECT_FALSE(sensors[2]->product() || sensors[2]->temperature());
    }
    EXPECT_EQ(machine.liveHandles(), 0u);
    EXPECT_FALSE(machine.services().temperatureSensors.sensors());
}

TEST_F(DescribedMachineTest, FaultsNameTheirPlace) {
    const std::string deep(65, '[');
    const std::string cores = R"({"registry": {"AppleARMPE": [{"name": "m", "children": [{"name": "cpu0", )";
    for (const auto& [text, start] : std::vector<std::pair<std::string, std::string>>{
             {"", "line 1, column 1: "},
             {"{\n  \"sysctl\": {,\n", "line 2, column 14: "},
             {"{\"a\": \"unterminated " + std::string(100'000, 'x'), "line 1, column "},
             {"{\"a\": 1e999}", "number overflow"},
             {"{\"a\": \"\xFF\"}", "line 1, column 8: "},
             {"{\"sysctl\": {},\n \"sysctl\": {}}", "line 2, column 2: the key \"sysctl\" is repeated"},
             {deep, "line 1, column 65: nested too deeply"},
             {"[]", "the whole file: must be an object"},
             {R"({"sysctls": {}})", "/sysctls: unknown key"},
             {R"({"sysctl": {"a/b": 3}})", "/sysctl/a~1b: must be a text"},
             {R"({"sysctl": {"a": {"integer": 70000, "width": 2}}})", "/sysctl/a/integer: does not fit"},
             {R"({"sysctl": {"a": {"integer": 1, "width": 3}}})", "/sysctl/a/width: must be 1, 2, 4 or 8"},
             {R"({"hostStatistics": {"pageSize": -1}})", "/hostStatistics/pageSize: must be a whole number"},
             {R"({"hostStatistics": {"pageSize": {"list": []}}})", "/hostStatistics/pageSize/list: must not be empty"},
             {R"({"hostStatistics": {"pageSize": {"list": [1, 2.5]}}})", "/hostStatistics/pageSize/list/1: must be a"},
             {R"({"hostStatistics": {"pageSize": {"start": 1}}})", "/hostStatistics/pageSize: has no \"rate\""},
             {R"({"hostStatistics": {"processors": [{}]}})", "/hostStatistics/processors/0: has no \"user\""},
             {R"({"networkInterfaces": [{"name": "en0", "sent": 1}]})", "/networkInterfaces/0: needs both"},
             {R"({"interfaceAddresses": [{"name": "en0", "ipv4": "10.0.0.256"}]})",
              "/interfaceAddresses/0/ipv4: must be an IPv4 address"},
             {R"({"systemFacts": {"proxySettings": 1}})", "/systemFacts/proxySettings: must be an object"},
             {cores + R"("properties": {"cluster-type": {"bytes": "4"}}}]}]}})",
              "/registry/AppleARMPE/0/children/0/properties/cluster-type/bytes: must be pairs of hex"},
             {cores + R"("properties": {"n": 9223372036854775808}}]}]}})",
              "/registry/AppleARMPE/0/children/0/properties/n: must be a number"},
             {cores + R"("properties": {"n": {"bytes": "00", "start": 1}}}]}]}})",
              "/registry/AppleARMPE/0/children/0/properties/n/bytes: unknown key"},
             {cores + R"("userClient": {"PST": null}}]}]}})",
              "/registry/AppleARMPE/0/children/0/userClient/PST: must be a key of 4 bytes"},
             {cores + R"("userClient": {"PSTR": {"type": "flt ", "value": {"bytes": "0"}}}}]}]}})",
              "/registry/AppleARMPE/0/children/0/userClient/PSTR/value/bytes: must be pairs of hex"},
             {cores + R"("userClient": {"PSTR": {"type": "flt", "value": 1, "result": 256}}}]}]}})",
              "/registry/AppleARMPE/0/children/0/userClient/PSTR/type: must be a text of 4 bytes"},
             {R"({"ioReport": {"groups": []}})", "/ioReport: has no \"paths\""},
             {R"({"ioReport": {"missingOperations": ["open"]}})", "/ioReport/missingOperations/0: is none of"},
             {R"({"ioReport": {"groups": [{"channels": [{"states": [{"residency": 1.5}]}]}]}})",
              "/ioReport/groups/0/channels/0/states/0/residency: must be a whole number"},
             {R"({"ioReport": {"samples": {"list": [true, 1]}}})", "/ioReport/samples/list/1: must be true or false"},
             {R"({"powerSources": {"sources": [null, 5]}})", "/powerSources/sources/1: must be an object"},
             {R"({"temperatureSensors": [{"temperature": {"float": "NaN"}}]})",
              "/temperatureSensors/0/temperature/float: must be \"nan\", "},
         }) {
        const auto message = faultOf(text);
        EXPECT_THAT(message, testing::StartsWith(start));
        EXPECT_EQ(message.find('\n'), message.npos);
        EXPECT_LT(message.size(), 300u);
    }
}

TEST_F(DescribedMachineTest, FilesThatCannotBeReadAreNamed) {
    for (const char* file : {"/nowhere/machine.json", "/"}) {
        const auto result = DescribedMachine::load(file, clock_);
        const auto* fault = std::get_if<MachineFault>(&result);
        ASSERT_TRUE(fault) << file;
        EXPECT_THAT(fault->message, testing::StartsWith(std::string(file) + ": cannot be read: "));
    }
}

TEST_F(DescribedMachineTest, CountsTheHandlesThatAreOut) {
    auto& machine = describe(R"({"registry": {"P": [{"name": "p", "children": [{"name": "a"}, {"name": "b"}]}]}})");
    {
        const auto services = machine.services().registry.services("P");
        const auto children = (*services)[0]->children();
        EXPECT_EQ(machine.liveHandles(), 3u);
        EXPECT_EQ(*(*children)[1]->name(), "b");
    }
    EXPECT_EQ(machine.liveHandles(), 0u);
}

}  // namespace
}  // namespace zqm
