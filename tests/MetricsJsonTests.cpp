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
    ASSERT_TRUE(text);
    for (std::string_view piece :
         {R"("perCoreUsage":[0.1,0.3333333333333333,1])",
          R"("coreKinds":[{"efficiency":{}},{"performance":{}},{"unknown":{}}])",
          R"("perCoreFreqMHz":{"E0":1000,"P\"\/":3228.5})", R"("totalBytes":18446744073709551615)",
          R"("cycleCount":-9223372036854775808)", R"("regionFlag":"🇯🇵")",
          "\"regionName\":\"a\\/b \\\"c\\\" \\\\ \\n\\u0001 \xEF\xBF\xBD\"", R"("timestamp":1763327051.482143})"}) {
        EXPECT_NE(text->find(piece), std::string::npos) << piece;
    }
    const auto decoded = decodeSnapshot(*text);
    ASSERT_TRUE(std::holds_alternative<SystemSnapshot>(decoded)) << std::get<DecodeError>(decoded).message;
    EXPECT_EQ(encode(std::get<SystemSnapshot>(decoded)), text);
}

TEST_F(MetricsJson, RefusesEveryNumberThatIsNotFinite) {
    for (double number : {std::numeric_limits<double>::quiet_NaN(), -std::numeric_limits<double>::infinity()}) {
        SystemSnapshot nested, listed, mapped, timed;
        nested.power.displayWatts = number;
        listed.cpu.perCoreUsage = {0.5, number};
        mapped.cpu.perCoreFreqMHz = {{"E0", number}};
        timed.timestamp = WallTime(Seconds(number));
        for (const SystemSnapshot* bad : {&nested, &listed, &mapped, &timed}) EXPECT_EQ(encode(*bad), std::nullopt);
    }
}

TEST_F(MetricsJson, DecodesStrictly) {
    snapshot.cpu.coreKinds = {CoreKind::efficiency};
    std::string good = encode(snapshot).value();
    good.insert(1, R"("processes":{"cpu":[],"gpu":[],"memory":[],"disk":[],"network":[],"power":[{"pid":7}]},)");
    struct Case {
        const char *from, *to, *message;
    };
    for (const auto& [from, to, message] : std::initializer_list<Case>{
             {"{\"efficiency\":{}}", "{}", "cpu.coreKinds[0]: Invalid number of keys found, expected one."},
             {"{\"efficiency\":{}}", "{\"efficiency\":{},\"unknown\":{}}",
              "cpu.coreKinds[0]: Invalid number of keys found, expected one."},
             {"{\"efficiency\":{}}", "{\"fast\":{}}", "cpu.coreKinds[0]: not a core kind"},
             {"\"totalUsage\":0,", "", "cpu.totalUsage: missing"},
             {"\"totalUsage\":0", "\"totalUsage\":null", "cpu.totalUsage: not a number"},
             {"\"totalBytes\":0", "\"totalBytes\":-1", "memory.totalBytes: not an integer in range"},
             {"\"cycleCount\":0", "\"cycleCount\":9223372036854775808", "battery.cycleCount: not an integer in range"},
             {"\"proxyDetected\":false", "\"proxyDetected\":0", "ip.proxyDetected: not a boolean"},
             {"\"load\":{\"value\":0}", "\"load\":0", "load: not an object"},
             {"\"timestamp\":", "\"timestamp\"", "not JSON"},
             {"\"processes\":{", "\"processes\":0,\"else\":{", "processes: missing"},
             {"\"processes\":{", "\"else\":{", "processes: missing"},
             {"\"disk\":[]", "\"disk\":{}", "processes.disk: not an array"},
             {"\"memory\":[],", "", "processes.memory: missing"},
             {"7", "7", "processes.power[0].name: missing"},
         }) {
        std::string text = good;
        text.replace(text.find(from), std::string_view(from).size(), to);
        const auto decoded = decodeReply(text);
        ASSERT_TRUE(std::holds_alternative<DecodeError>(decoded)) << text;
        EXPECT_EQ(std::get<DecodeError>(decoded).message, message);
    }
    for (std::size_t length = 0; length < good.size(); ++length) {
        EXPECT_TRUE(std::holds_alternative<DecodeError>(decodeSnapshot(std::string_view(good).substr(0, length))));
    }
    EXPECT_TRUE(std::holds_alternative<SystemSnapshot>(decodeSnapshot(good)));  // with a member that it does not know
}

}  // namespace
}  // namespace zqm
