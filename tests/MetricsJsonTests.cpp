#include "ZQMHelper/Shared/MetricsJson.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/fakes/FakePlatform.h"

namespace zqm {
namespace {

struct MetricsJson : testing::Test {
    FakePlatform machine;
    SystemSnapshot snapshot;
};

TEST_F(MetricsJson, WritesValuesSoThatTheyReadBackExactly) {
    snapshot.cpu.perCoreUsage = {0.1, 1.0 / 3, 1};
    snapshot.cpu.coreKinds = {CoreKind::efficiency, CoreKind::performance, CoreKind::unknown};
    snapshot.cpu.perCoreFreqMHz = {{"E0", 1000}, {"P\"/", 3228.5}};
    snapshot.memory.totalBytes = std::numeric_limits<std::uint64_t>::max();
    snapshot.battery.cycleCount = std::numeric_limits<std::int64_t>::min();
    snapshot.ip.regionFlag = "🇯🇵";
    snapshot.ip.regionName = "a/b \"c\" \\ \n\x01 \xFF";
    snapshot.timestamp = WallTime(Seconds(1763327051.482143));
    const auto text = encode(snapshot);
    for (std::string_view piece :
         {R"("perCoreUsage":[0.1,0.3333333333333333,1])",
          R"("coreKinds":[{"efficiency":{}},{"performance":{}},{"unknown":{}}])",
          R"("perCoreFreqMHz":{"E0":1000,"P\"\/":3228.5})", R"("totalBytes":18446744073709551615)",
          R"("cycleCount":-9223372036854775808)", R"("regionFlag":"🇯🇵")",
          "\"regionName\":\"a\\/b \\\"c\\\" \\\\ \\n\\u0001 \xEF\xBF\xBD\"", R"("timestamp":1763327051.482143})"}) {
        EXPECT_NE(text->find(piece), std::string::npos) << piece;
    }
    EXPECT_EQ(encode(std::get<SystemSnapshot>(decodeSnapshot(*text))), text);
}

TEST_F(MetricsJson, RefusesEveryNumberThatIsNotFinite) {
    SystemSnapshot nested, listed, mapped, timed;
    nested.power.displayWatts = std::numeric_limits<double>::quiet_NaN();
    listed.cpu.perCoreUsage = {0.5, -std::numeric_limits<double>::infinity()};
    mapped.cpu.perCoreFreqMHz = {{"E0", std::numeric_limits<double>::infinity()}};
    timed.timestamp = WallTime(Seconds(std::numeric_limits<double>::quiet_NaN()));
    for (const SystemSnapshot* bad : {&nested, &listed, &mapped, &timed}) EXPECT_EQ(encode(*bad), std::nullopt);
}

TEST_F(MetricsJson, DecodesStrictly) {
    snapshot.cpu.coreKinds = {CoreKind::efficiency};
    std::string good = encode(snapshot).value();
    good.insert(1, R"("processes":{"cpu":[],"gpu":[],"memory":[],"disk":[],"network":[],"power":[{"pid":7}]},)");
    constexpr auto kind = R"({"efficiency":{}})",
                   kinds = "cpu.coreKinds[0]: Invalid number of keys found, expected one.";
    const std::string deep = R"("load":)" + std::string(30, '['), notTooDeep = deep.substr(0, deep.size() - 1);
    using Case = std::array<std::string_view, 3>;
    for (const auto& [from, to, message] : std::initializer_list<Case>{
             {kind, "{}", kinds},
             {kind, R"({"efficiency":{},"unknown":{}})", kinds},
             {kind, R"({"fast":{}})", "cpu.coreKinds[0]: not a core kind"},
             {kind, R"({"efficiency":5})", "cpu.coreKinds[0]: not a core kind"},
             {kind, R"({"efficiency":{"more":0}})", "cpu.coreKinds[0]: not a core kind"},
             {R"("totalUsage":0,)", "", "cpu.totalUsage: missing"},
             {R"("totalUsage":0)", R"("totalUsage":null)", "cpu.totalUsage: not a number"},
             {R"("totalUsage":0)", R"("totalUsage":0,"totalUsage":1)", "totalUsage: twice in one object"},
             {R"("totalBytes":0)", R"("totalBytes":-1)", "memory.totalBytes: not an integer in range"},
             {R"("cycleCount":0)", R"("cycleCount":9223372036854775808)",
              "battery.cycleCount: not an integer in range"},
             {R"("proxyDetected":false)", R"("proxyDetected":0)", "ip.proxyDetected: not a boolean"},
             {R"("load":{"value":0})", R"("load":0)", "load: not an object"},
             {R"("load":)", deep, "nested too deeply"},
             {R"("load":)", notTooDeep, "not JSON"},
             {R"("processes":{)", R"("processes":0,"else":{)", "processes: missing"},
             {R"("memory":[],)", "", "processes.memory: missing"},
             {R"("pid":7)", R"("pid":-5000000000)", "processes.power[0].pid: not an integer in range"},
             {R"("pid":7)", R"("pid":7)", "processes.power[0].name: missing"}}) {
        std::string text = good;
        text.replace(text.find(from), from.size(), to);
        EXPECT_EQ(std::get<DecodeError>(decodeReply(text)).message, message) << text;
    }
    for (std::size_t length = 0; length < good.size(); ++length) {
        EXPECT_TRUE(std::holds_alternative<DecodeError>(decodeSnapshot(std::string_view(good).substr(0, length))));
    }
    EXPECT_TRUE(std::holds_alternative<DecodeError>(decodeSnapshot(good + '\0')));
    EXPECT_TRUE(std::holds_alternative<SystemSnapshot>(decodeSnapshot(good)));  // with a member that it does not know
}

}  // namespace
}  // namespace zqm
