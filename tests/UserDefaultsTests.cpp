#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "Platform/Posix/JsonUserDefaults.h"
#include "Platform/Posix/PosixFiles.h"
#include "tests/fakes/FakePlatform.h"
#include "tests/fakes/TemporaryTree.h"

namespace zqm {
namespace {

constexpr double largestDouble = std::numeric_limits<double>::max();
constexpr auto largestInteger = std::numeric_limits<std::int64_t>::max();
constexpr auto smallestInteger = std::numeric_limits<std::int64_t>::min();

TEST(UserDefaults, ConvertsAsThePlatformDoes) {
    struct Case {
        std::string json;
        double number;
        std::int64_t integer;
        bool flag;
        std::optional<std::string> text;
    };
    for (const auto& [json, number, integer, flag, text] : std::initializer_list<Case>{
             {"null", 0, 0, false, std::nullopt},
             {"[1]", 0, 0, false, std::nullopt},
             {"true", 1, 1, true, "1"},
             {"false", 0, 0, false, "0"},
             {"0", 0, 0, false, "0"},
             {"3", 3, 3, true, "3"},
             {"100000.0", 1e5, 100000, true, "100000"},
             {"-2.75", -2.75, -2, true, "-2.75"},
             {"1e300", 1e300, largestInteger, true, "1e+300"},
             {"-1e300", -1e300, smallestInteger, true, "-1e+300"},
             {"18446744073709551615", 0x1p64, largestInteger, true, "18446744073709551615"},
             {R"(" \t\n+7 apples")", 7, 7, true, " \t\n+7 apples"},
             {R"("-.5e1x")", -5, 0, false, "-.5e1x"},
             {R"("1e999")", largestDouble, 1, true, "1e999"},
             {R"("-1e999")", -largestDouble, -1, true, "-1e999"},
             {R"("1e-999")", 0, 1, true, "1e-999"},
             {R"("99999999999999999999")", 99999999999999999999.0, largestInteger, true, "99999999999999999999"},
             {R"("inf")", 0, 0, false, "inf"},
             {R"("+-1")", 0, 0, false, "+-1"},
             {R"("YES")", 0, 0, true, "YES"},
             {R"("-001")", -1, -1, true, "-001"},
             {R"("00Y")", 0, 0, true, "00Y"},
             {R"("0.9")", 0.9, 0, false, "0.9"},
         }) {
        FakeFiles files;
        files.contents["file"] = "{\"key\":" + json + "}";
        JsonUserDefaults defaults(files, "file");
        EXPECT_EQ(defaults.doubleForKey("key"), number) << json;
        EXPECT_EQ(defaults.integerForKey("key"), integer) << json;
        EXPECT_EQ(defaults.boolForKey("key"), flag) << json;
        EXPECT_EQ(defaults.stringForKey("key"), text) << json;
        EXPECT_EQ(defaults.hasObjectForKey("key"), json != "null") << json;
        EXPECT_FALSE(defaults.hasObjectForKey("other"));
    }
}

TEST(UserDefaults, KeepWhatOthersHaveWritten) {
    const TemporaryTree tree;
    const std::string file = tree.path("defaults.json");
    PosixFiles files;
    JsonUserDefaults defaults(files, file);
    tree.write("defaults.json", R"({"z": "kept", "updateInterval": "old"})");
    defaults.setDouble(2.5, "updateInterval");
    EXPECT_EQ(defaults.doubleForKey("updateInterval"), 2.5);
    EXPECT_FALSE(defaults.hasObjectForKey("z"));  // read once
    EXPECT_EQ(files.read(file).text, R"({"z": "kept", "updateInterval": 2.5})");
    defaults.setDouble(std::nan(""), "n");
    defaults.setDouble(-HUGE_VAL, "h");
    JsonUserDefaults again(files, file);
    EXPECT_TRUE(again.hasObjectForKey("n"));
    EXPECT_EQ(again.doubleForKey("h"), -largestDouble);
}

}  // namespace
}  // namespace zqm
