#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "Platform/Mac/GroupContainer.h"
#include "Platform/Mac/MacUserDefaults.h"
#include "tests/fakes/MachinePlatform.h"
#include "tests/fakes/mac/MacUserFunctions.h"

// What a Mac keeps for its user; UserDefaultsTests.cpp has the conversions.

namespace zqm {
namespace {

struct MacUser : testing::Test {
    ~MacUser() override { MacUserFunctions::preferences.clear(); }

    static auto& kept(const std::string& key) {
        return MacUserFunctions::preferences["xyz.tallvek.Zephlon.ZQMHelper " + key];
    }

    DescribedPlatform described{"{}"};
    MacDouble mac{*described.machine, described.process.clock};
    std::optional<MacUserDefaults> defaults{mac};
};

TEST_F(MacUser, PreferencesOfEachTypeAreRead) {
    using Texts = std::vector<std::string>;
    struct Case {
        PropertyValue kept;
        double number;
        std::optional<std::string> text;
        std::optional<Texts> texts;
        std::string source;
    };
    for (const auto& [value, number, text, texts, source] : std::initializer_list<Case>{
             {true, 1, "1", std::nullopt, "true"},
             {std::int64_t{-3}, -3, "-3", std::nullopt, "-3"},
             {2.5, 2.5, "2.5", std::nullopt, "2.5"},
             {HUGE_VAL, std::numeric_limits<double>::max(), "1.7976931348623157e+308", std::nullopt,
              "1.7976931348623157e+308"},
             {std::string("7 apples"), 7, "7 apples", std::nullopt, "\"7 apples\""},
             {PropertyArray{std::string("a"), std::string("b")}, 0, std::nullopt, Texts{"a", "b"}, R"(["a","b"])"},
             {PropertyArray{std::string("a"), Bytes{1}}, 0, std::nullopt, std::nullopt, R"(["a",null])"},
             {Bytes{1}, 0, std::nullopt, std::nullopt, "{}"},
         }) {
        kept("key") = value;
        defaults.emplace(mac);
        EXPECT_EQ(defaults->doubleForKey("key"), number) << source;
        EXPECT_EQ(defaults->stringForKey("key"), text) << source;
        EXPECT_EQ(defaults->stringArrayForKey("key"), texts) << source;
        EXPECT_EQ(defaults->sourceForKey("key"), source);
        EXPECT_TRUE(defaults->hasObjectForKey("key")) << source;
    }
    EXPECT_FALSE(defaults->hasObjectForKey("other"));
    EXPECT_FALSE(defaults->hasObjectForKey("\xFF"));
}

TEST_F(MacUser, PreferencesAreStoredOrTheReasonIsTold) {
    for (const auto& [value, stored] : std::initializer_list<std::pair<DefaultsValue, PropertyValue>>{
             {true, std::int64_t{1}},
             {std::int64_t{7}, std::int64_t{7}},
             {std::nan(""), 0.0},
             {std::string("mhz"), std::string("mhz")},
             {std::vector<std::string>{"a", "b"}, PropertyArray{std::string("a"), std::string("b")}},
         }) {
        EXPECT_EQ(defaults->store("key", value), std::nullopt);
        EXPECT_TRUE(kept("key") == stored && defaults->hasObjectForKey("key"));
    }
    EXPECT_TRUE(defaults->store("key", std::vector<std::string>{"\xFF"}));
    EXPECT_EQ(defaults->store("key", std::nullopt), std::nullopt);
    EXPECT_FALSE(defaults->hasObjectForKey("key") || MacUserFunctions::preferences.contains("key"));
    mac.failing = [](std::string_view symbol) { return symbol == "CFPreferencesAppSynchronize"; };
    EXPECT_EQ(defaults->store("key", 1.0), "the system does not keep it");
    mac.missing = {"CFArrayCreate"};
    defaults.emplace(mac);
    EXPECT_EQ(defaults->problems(), std::vector<std::string>{"there is no CFArrayCreate; no preferences are used"});
    EXPECT_FALSE(defaults->hasObjectForKey("key"));
    EXPECT_TRUE(defaults->store("key", 1.0));
}

TEST_F(MacUser, TheContainerIsTheGroupsOrThereIsNone) {
    EXPECT_EQ(groupContainer(mac, "T.group"), "/tmp/containers/T.group");
    for (const char* symbol : {"/usr/lib/libobjc.A.dylib", foundationPath, "objc_msgSend", "CFRelease"}) {
        mac.missing = {symbol};
        EXPECT_EQ(groupContainer(mac, "T.group"), std::nullopt) << symbol;
    }
    mac.missing.clear();
    for (const char* symbol : {"objc_getClass", "objc_msgSend", "CFStringCreateWithBytes", "CFGetTypeID"}) {
        mac.failing = [&](std::string_view called) { return called == symbol; };
        EXPECT_EQ(groupContainer(mac, "T.group"), std::nullopt) << symbol;
    }
}

}  // namespace
}  // namespace zqm
