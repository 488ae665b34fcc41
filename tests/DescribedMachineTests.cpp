#include "Platform/Described/DescribedMachine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Platform/Apple/HostStatistics.h"
#include "Platform/Apple/Sysctl.h"
#include "tests/fakes/MachinePlatform.h"

namespace zqm {
namespace {

using testing::ElementsAre;

TEST(DescribedMachine, CountersMoveWithTheClock) {
    DescribedPlatform machine(R"({"hostStatistics": {"processors": [
        {"user": {"start": 100, "rate": 2.5}, "system": {"start": 4294967290, "rate": 4, "wrapBits": 32},
         "idle": {"start": 10, "rate": -6}, "nice": {"start": 50, "rate": 10, "turn": 2}},
        {"user": 0, "system": 0, "idle": 0, "nice": {"start": 18446744073709551610, "rate": 100}}]}})");
    HostStatistics& host = machine.platform.hostStatistics;
    EXPECT_THAT(*host.processorTicks(),
                ElementsAre(ProcessorTicks{100, 4294967290, 10, 50}, ProcessorTicks{0, 0, 0, 18446744073709551610u}));
    machine.process.clock.advance(Seconds(3));
    // One rounds down, one wraps past 2^32, one has turned after 2 s, the others stop at the bounds of a counter.
    EXPECT_THAT(*host.processorTicks(),
                ElementsAre(ProcessorTicks{107, 6, 0, 60}, ProcessorTicks{0, 0, 0, 18446744073709551615u}));
    machine.process.clock.continuousTime += Seconds(60);  // the machine slept
    EXPECT_EQ((*host.processorTicks())[0].user, 107u);
}

TEST(DescribedMachine, ListsMoveWithTheReadingsAndStayInStep) {
    DescribedPlatform machine(R"({"hostStatistics": {"pageSize": {"list": [4096, null, 16384]},
        "processors": [{"user": {"list": [1, null, 3]}, "system": {"list": [10, 20, 30]}, "idle": 0, "nice": 0}]}})");
    HostStatistics& host = machine.platform.hostStatistics;
    for (const auto& size : {std::optional(4096u), {}, {16384}, {16384}}) EXPECT_EQ(host.pageSize(), size);
    EXPECT_THAT(*host.processorTicks(), ElementsAre(ProcessorTicks{1, 10, 0, 0}));
    EXPECT_EQ(host.processorTicks(), std::nullopt);
    EXPECT_THAT(*host.processorTicks(), ElementsAre(ProcessorTicks{3, 30, 0, 0}));
}

TEST(DescribedMachine, SysctlsHaveTheKernelsBytes) {
    DescribedPlatform machine(R"({"sysctl": {
        "text": "E", "level": {"integer": -2, "width": 4}, "moving": {"integer": {"start": 255, "rate": 1}, "width": 2},
        "record": {"bytes": [{"integer": 1, "width": 2}, "ff 00", "Ab"]},
        "cut": {"bytes": [{"integer": null, "width": 1}, "00"]}}})");
    Sysctl& sysctl = machine.platform.sysctl;
    machine.process.clock.advance(Seconds(1));
    EXPECT_EQ(sysctl.read("text"), (Bytes{'E', 0}));
    EXPECT_EQ(sysctl.read("level"), (Bytes{0xFE, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(sysctl.read("moving"), (Bytes{0x00, 0x01}));
    EXPECT_EQ(sysctl.read("record"), (Bytes{1, 0, 0xFF, 0, 0xAB}));
    EXPECT_EQ(sysctl.read("cut"), std::nullopt);
}

TEST(DescribedMachine, FaultsNameTheirPlace) {
    VirtualClock clock;
    const std::string deep(65, '[');
    const auto members = [](int count) {
        std::string text = R"({"sysctl": {)";
        for (int i = 1; i <= count; ++i) text += "\"" + std::to_string(i) + (i < count ? "\": \"\"," : "\": \"\"}}");
        return text;
    };
    const std::string entry = R"({"registry": {"A": [{"name": "m", )";
    for (const auto& [text, start] : std::initializer_list<std::pair<std::string, std::string>>{
             {"", "line 1, column 1: "},
             {"{\n  \"sysctl\": {,\n", "line 2, column 14: "},
             {"{\"a\": \"unterminated " + std::string(100'000, 'x'), "line 1, column "},
             {"{\"a\": 1e999}", "number overflow"},
             {"{\"a\": \"\xFF\"}", "line 1, column 8: "},
             {"{\"sysctl\": {},\n \"sysctl\": {}}", "line 2, column 2: the key \"sysctl\" is repeated"},
             {deep, "line 1, column 65: nested too deeply"},
             {members(1024), "none"},
             {members(1025), "line 1, column 10170: too many members in one object"},
             {"[]", "the whole file: must be an object"},
             {"{\"about\": \"\\\"" + std::string(65, '[') + "\"}", "none"},
             {R"({"sysctl": {"a": {"integer": -129, "width": 1}}})", "/sysctl/a/integer: does not fit"},
             {R"({"sysctls": {}})", "/sysctls: unknown key"},
             {R"({"sysctl": {"a/b": 3}})", "/sysctl/a~1b: must be a text"},
             {R"({"sysctl": {"a": {"integer": 70000, "width": 2}}})", "/sysctl/a/integer: does not fit"},
             {R"({"sysctl": {"a": {"integer": 1, "width": 3}}})", "/sysctl/a/width: must be 1, 2, 4 or 8"},
             {R"({"hostStatistics": {"pageSize": -1}})", "/hostStatistics/pageSize: must be a whole number"},
             {R"({"hostStatistics": {"pageSize": {"list": []}}})", "/hostStatistics/pageSize/list: must not be empty"},
             {R"({"hostStatistics": {"pageSize": {"list": [1, 2.5]}}})", "/hostStatistics/pageSize/list/1: must be a"},
             {R"({"hostStatistics": {"processors": [{}]}})",
              "/hostStatistics/processors/0: has no \"user\", \"system\", \"idle\", \"nice\""},
             {R"({"hostStatistics": {"virtualMemory": {}}})",
              "/hostStatistics/virtualMemory: has no \"active\", \"inactive\", \"speculative\", \"wired\", "
              "\"compressor\", "
              "\"purgeable\", \"external\""},
             {R"({"networkInterfaces": [{}]})", "/networkInterfaces/0: has no \"name\""},
             {R"({"interfaceAddresses": [{}]})", "/interfaceAddresses/0: has no \"name\", \"ipv4\""},
             {R"({"registry": {"A": [{}]}})", "/registry/A/0: has no \"name\""},
             {R"({"ioReport": {"groups": [{}]}})", "/ioReport/groups/0: has no \"group\", \"subgroup\", \"channels\""},
             {R"({"ioReport": {"groups": [{"channels": [{"states": [{}]}]}]}})",
              "/ioReport/groups/0/channels/0/states/0: has no \"name\", \"residency\""},
             {entry + R"("userClient": {"PSTR": {}}}]}})", "/registry/A/0/userClient/PSTR: has no \"type\", \"value\""},
             {R"({"networkInterfaces": [{"name": "en0", "sent": 1}]})", "/networkInterfaces/0: needs both"},
             {R"({"interfaceAddresses": [{"name": "en0", "ipv4": "10.0.0.256"}]})",
              "/interfaceAddresses/0/ipv4: must be an IPv4 address"},
             {entry + R"("properties": {"cluster-type": {"bytes": "4"}}}]}})",
              "/registry/A/0/properties/cluster-type/bytes: must be pairs of hex"},
             {entry + R"("properties": {"n": 9223372036854775808}}]}})",
              "/registry/A/0/properties/n: must be a number"},
             {entry + R"("properties": {"n": {"bytes": "00", "start": 1}}}]}})",
              "/registry/A/0/properties/n/bytes: unknown key"},
             {entry + R"("userClient": {"PST": null}}]}})", "/registry/A/0/userClient/PST: must be a key of 4 bytes"},
             {entry + R"("userClient": {"PSTR": {"type": "flt ", "value": {"bytes": "0"}}}}]}})",
              "/registry/A/0/userClient/PSTR/value/bytes: must be pairs of hex"},
             {entry + R"("userClient": {"PSTR": {"type": "flt ", "value": 1, "result": 256}}}]}})",
              "/registry/A/0/userClient/PSTR/result: must be a whole number from 0 to 255"},
             {entry + R"("userClient": {"PSTR": {"type": "flt", "value": 1}}}]}})",
              "/registry/A/0/userClient/PSTR/type: must be a text of 4 bytes"},
             {R"({"ioReport": {}})", "/ioReport: has no \"paths\", \"groups\""},
             {R"({"ioReport": {"missingOperations": ["open"]}})", "/ioReport/missingOperations/0: is none of"},
             {R"({"ioReport": {"groups": [{"channels": [{"states": [{"residency": 1.5}]}]}]}})",
              "/ioReport/groups/0/channels/0/states/0/residency: must be a whole number"},
             {R"({"temperatureSensors": [{"temperature": {"float": "NaN"}}]})",
              "/temperatureSensors/0/temperature/float: must be \"nan\", "},
         }) {
        const auto result = DescribedMachine::parse(text, clock);
        const auto* fault = std::get_if<MachineFault>(&result);
        const std::string message = fault ? fault->message : "none";
        EXPECT_THAT(message, testing::StartsWith(start));
        EXPECT_EQ(message.find('\n'), message.npos);
        EXPECT_LT(message.size(), 300u);
    }
}

}  // namespace
}  // namespace zqm
