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

TEST_F(MetricsJson, WritesEveryKeyOfTheDefaultsInDeclarationOrder) {
    EXPECT_EQ(encode(snapshot),
              R"({"cpu":{"perCoreUsage":[],"coreKinds":[],"totalUsage":0,"efficiencyFreqMHz":0,)"
              R"("performanceFreqMHz":0,"efficiencyMaxMHz":0,"performanceMaxMHz":0,"perCoreFreqMHz":{},)"
              R"("temperatureC":0},"memory":{"totalBytes":0,"usedBytes":0,"appBytes":0,"wiredBytes":0,)"
              R"("compressedBytes":0,"pressureLevel":0,"pressureFraction":0,"swapUsedBytes":0,"swapTotalBytes":0},)"
              R"("network":{"uploadBytesPerSecond":0,"downloadBytesPerSecond":0,"totalUploaded":0,)"
              R"("totalDownloaded":0},"disk":{"readBytesPerSecond":0,"writeBytesPerSecond":0},"gpu":{"utilization":0,)"
              R"("frequencyMHz":0,"maxFrequencyMHz":0,"temperatureC":0},"battery":{"isPresent":false,)"
              R"("isCharging":false,"onACPower":false,"level":0,"health":0,"cycleCount":0,"maxCapacityWh":0,)"
              R"("designCapacityWh":0,"powerWatts":0,"adapterWatts":0,"timeRemainingMinutes":-1},)"
              R"("clock":{"now":1763327051.25},"ip":{"localIPv4":"","publicIP":"","regionFlag":"","regionName":"",)"
              R"("proxyDetected":false,"utunGateway":""},"power":{"cpuWatts":0,"gpuWatts":0,"aneWatts":0,)"
              R"("dramWatts":0,"totalWatts":0,"systemWatts":0,"displayWatts":0},"load":{"value":0},)"
              R"("timestamp":1763327051.25})");
}

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
    for (double number : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
                          -std::numeric_limits<double>::infinity()}) {
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
    const std::string good = encode(snapshot).value();
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
         }) {
        std::string text = good;
        text.replace(text.find(from), std::string_view(from).size(), to);
        const auto decoded = decodeSnapshot(text);
        ASSERT_TRUE(std::holds_alternative<DecodeError>(decoded)) << text;
        EXPECT_EQ(std::get<DecodeError>(decoded).message, message);
    }
    for (std::size_t length = 0; length < good.size(); ++length) {
        EXPECT_TRUE(std::holds_alternative<DecodeError>(decodeSnapshot(std::string_view(good).substr(0, length))));
    }
    std::string extended = good;
    extended.insert(1, "\"processes\":{},");
    EXPECT_TRUE(std::holds_alternative<SystemSnapshot>(decodeSnapshot(extended)));
}

}  // namespace
}  // namespace zqm
