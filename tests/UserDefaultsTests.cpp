#include <gtest/gtest.h>
#include <stdlib.h>

#include <cmath>
#include <limits>
#include <map>

#include "Platform/Posix/JsonUserDefaults.h"
#include "Platform/Posix/PosixFiles.h"
#include "Platform/Process/Files.h"

namespace zqm {
namespace {

constexpr double largestDouble = std::numeric_limits<double>::max();
constexpr auto largestInteger = std::numeric_limits<std::int64_t>::max();
constexpr auto smallestInteger = std::numeric_limits<std::int64_t>::min();

/// One file, in memory.
class KeptFiles final : public Files {
public:
    std::optional<std::string> read(const std::filesystem::path&) override { return content; }
    bool replace(const std::filesystem::path&, std::string_view text) override {
        content = text;
        return true;
    }
    void exclusively(const std::filesystem::path&, const std::function<void()>& body) override { body(); }
    std::string makeUuid() override { return {}; }
    std::optional<std::string> content;
};

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
             {"{}", 0, 0, false, std::nullopt},
             {"true", 1, 1, true, "1"},
             {"false", 0, 0, false, "0"},
             {"3", 3, 3, true, "3"},
             {"-2", -2, -2, true, "-2"},
             {"3.0", 3, 3, true, "3"},
             {"0.5", 0.5, 0, true, "0.5"},
             {"0.1", 0.1, 0, true, "0.1"},
             {"100000.0", 1e5, 100000, true, "100000"},
             {"-2.75", -2.75, -2, true, "-2.75"},
             {"1e300", 1e300, largestInteger, true, "1e+300"},
             {"-1e300", -1e300, smallestInteger, true, "-1e+300"},
             {"18446744073709551615", 0x1p64, largestInteger, true, "18446744073709551615"},
             {R"("")", 0, 0, false, ""},
             {R"("2.5")", 2.5, 2, true, "2.5"},
             {R"(" \t\n+7 apples")", 7, 7, true, " \t\n+7 apples"},
             {R"("-.5e1x")", -5, 0, false, "-.5e1x"},
             {R"("1e3")", 1000, 1, true, "1e3"},
             {R"("1e999")", largestDouble, 1, true, "1e999"},
             {R"("-1e999")", -largestDouble, -1, true, "-1e999"},
             {R"("1e-999")", 0, 1, true, "1e-999"},
             {R"("99999999999999999999")", 99999999999999999999.0, largestInteger, true, "99999999999999999999"},
             {R"("-9223372036854775808")", -0x1p63, smallestInteger, true, "-9223372036854775808"},
             {R"("inf")", 0, 0, false, "inf"},
             {R"("nan")", 0, 0, false, "nan"},
             {R"("+-1")", 0, 0, false, "+-1"},
             {R"("YES")", 0, 0, true, "YES"},
             {R"("true")", 0, 0, true, "true"},
             {R"("no")", 0, 0, false, "no"},
             {R"("-001")", -1, -1, true, "-001"},
             {R"("00Y")", 0, 0, true, "00Y"},
             {R"("0.9")", 0.9, 0, false, "0.9"},
             {R"("on")", 0, 0, false, "on"},
         }) {
        KeptFiles files;
        files.content = "{\"key\":" + json + "}";
        JsonUserDefaults defaults(files, "/nowhere/defaults.json");
        EXPECT_EQ(defaults.doubleForKey("key"), number) << json;
        EXPECT_EQ(defaults.integerForKey("key"), integer) << json;
        EXPECT_EQ(defaults.boolForKey("key"), flag) << json;
        EXPECT_EQ(defaults.stringForKey("key"), text) << json;
        EXPECT_EQ(defaults.hasObjectForKey("key"), json != "null") << json;
        EXPECT_FALSE(defaults.hasObjectForKey("other"));
    }
}

TEST(UserDefaults, AListCountsOnlyWhenItHoldsTextsAlone) {
    KeptFiles files;
    files.content = R"({"texts": ["a", "b"], "none": [], "mixed": ["a", 1], "text": "a"})";
    JsonUserDefaults defaults(files, "/nowhere/defaults.json");
    EXPECT_EQ(defaults.stringArrayForKey("texts"), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(defaults.stringArrayForKey("none"), std::vector<std::string>{});
    for (const char* key : {"mixed", "text", "missing"}) EXPECT_EQ(defaults.stringArrayForKey(key), std::nullopt);
}

TEST(UserDefaults, StoringKeepsWhatOthersHaveWritten) {
    KeptFiles files;
    const auto directory = std::filesystem::temp_directory_path();
    JsonUserDefaults defaults(files, directory / "zqm-no-such-defaults.json");
    files.content = R"({"z": "kept", "updateInterval": "old", "a": [1]})";
    defaults.setDouble(2.5, "updateInterval");
    EXPECT_EQ(defaults.doubleForKey("updateInterval"), 2.5);
    EXPECT_FALSE(defaults.hasObjectForKey("z"));  // read once
    EXPECT_EQ(files.content, "{\n  \"z\": \"kept\",\n  \"updateInterval\": 2.5,\n  \"a\": [\n    1\n  ]\n}\n");
    defaults.setDouble(std::nan(""), "n");
    defaults.setDouble(-HUGE_VAL, "h");
    JsonUserDefaults again(files, directory / "zqm-no-such-defaults.json");
    EXPECT_TRUE(again.hasObjectForKey("n"));
    EXPECT_EQ(again.doubleForKey("h"), -largestDouble);
}

TEST(UserDefaults, AFileThatIsNoObjectIsKeptAside) {
    std::string pattern = (std::filesystem::temp_directory_path() / "zqm-defaults-XXXXXX").string();
    const std::filesystem::path directory = ::mkdtemp(pattern.data());
    const auto file = directory / "new" / "defaults.json";
    PosixFiles files;
    std::filesystem::create_directory(file.parent_path());
    const std::string deep = "{\"a\":" + std::string(1000, '[') + std::string(1000, ']') + "}";
    for (const std::string& broken : {std::string("[1]"), std::string("{\"a\": 1,}"), std::string(), deep}) {
        ASSERT_TRUE(files.replace(file, broken));
        JsonUserDefaults defaults(files, file);
        EXPECT_FALSE(defaults.hasObjectForKey("a"));
        EXPECT_EQ(files.read(file), broken);
        defaults.setDouble(3, "updateInterval");
        EXPECT_EQ(JsonUserDefaults(files, file).doubleForKey("updateInterval"), 3);
        EXPECT_EQ(files.read(directory / "new" / "defaults.json.invalid"), broken);
    }
    std::filesystem::remove_all(file.parent_path());
    JsonUserDefaults defaults(files, file);
    defaults.setDouble(0.1, "updateInterval");
    EXPECT_EQ(files.read(file), "{\n  \"updateInterval\": 0.1\n}\n");
    std::filesystem::remove_all(directory);
}

}  // namespace
}  // namespace zqm
