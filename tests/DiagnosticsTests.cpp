#include "ZQMHelper/Shared/DiagnosticsCollector.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "ZQMHelper/ReportUpload.h"
#include "tests/fakes/FakePlatform.h"

// Whole reports of whole machines are golden texts; here stands what these do not show.

namespace zqm {
namespace {

struct Diagnostics : testing::Test {
    FakePlatform machine;
    DiagnosticsCollector collector{std::make_shared<SMCBridge>()};

    bool has(const std::string& line) {
        return ("\n" + collector.collect(true) + "\n").find("\n" + line + "\n") != std::string::npos;
    }
};

TEST_F(Diagnostics, EverySectionStandsOnAMachineThatTellsNothing) {
    machine.registry.failing = {"AppleARMPE", "AppleARMIODevice"};
    EXPECT_EQ(collector.collect(false),
              "=== Zephlon Diagnostics ===\n"
              "Date: 2025-11-16T21:04:11Z\n"
              "App: ? (?)\n"
              "macOS: Version 15.1 (Build 24B83)\n"
              "Model: ?\n"
              "Chip: ?\n"
              "\n--- hw.perflevel ---\n"
              "nperflevels: -1\n"
              "\n--- AppleARMPE cluster-type ---\n"
              "(no AppleARMPE service)\n"
              "\n--- pmgr ladders ---\n"
              "(no AppleARMIODevice)\n"
              "\n--- IOReport channels ---\n"
              "[CPU Stats/CPU Complex Performance States] (unavailable)\n"
              "[CPU Stats/CPU Core Performance States] (unavailable)\n"
              "[GPU Stats/GPU Performance States] (unavailable)\n"
              "[Energy Model/-] (unavailable)\n"
              "\n--- IOReport all subgroups ---\n"
              "(no IOReport groups found)\n"
              "\n--- SMC keys ---\n"
              "available: 0\n"
              "PSTR: -1.0\n"
              "PDBR: -1.0\n"
              "PBwo: -1.0");
    machine.registry.failing.clear();
    EXPECT_TRUE(has("(no cpuN children)"));
    EXPECT_TRUE(has("(no pmgr service)"));
}

TEST_F(Diagnostics, ShowsTheTablesAsTheyAre) {
    const auto bytes = [](std::string_view text) { return Bytes(text.begin(), text.end()); };
    const Bytes frequency{0x00, 0xa3, 0xe1, 0x11, 0, 0, 0, 0};
    Bytes table;
    for (int i = 0; i < 12; ++i) table.insert(table.end(), frequency.begin(), frequency.end());
    auto& pmgr = machine.registry.classes["AppleARMIODevice"];
    pmgr = {{.name = "",
             .properties = {{"name", bytes(std::string_view("pmgr\0", 5))},
                            {"acc-clusters", Bytes{1, 0, 0, 0, 0, 0, 0, 0, 5, 2, 0, 0, 0, 0, 0, 0, 9, 9, 9, 9}},
                            {"voltage-states5-sram", table}}}};
    EXPECT_TRUE(has("acc-clusters: domain1=E, domain5=S"));
    EXPECT_TRUE(
        has("voltage-states5-sram: 12 states | [0] 00a3e11100000000 → 300.0MHz  [1] 00a3e11100000000 → 300.0MHz"
            "  [2] 00a3e11100000000 → 300.0MHz  [3] 00a3e11100000000 → 300.0MHz"));
    pmgr[0].properties[1].second = Bytes(7);
    EXPECT_TRUE(has("acc-clusters: "));
    pmgr[0].properties[1].second = std::string("text");
    EXPECT_TRUE(has("acc-clusters: (absent)"));
    const auto processor = [&](const char* name, const char* type) {
        return FakeNode{.name = "", .properties = {{"name", bytes(name)}, {"cluster-type", bytes(type)}}};
    };
    machine.registry.classes["AppleARMPE"] = {
        {.name = "",
         .properties = {},
         .children =
             std::vector<FakeNode>{processor("cpu2", "P"), processor("cpu10", "\xFF"), processor("gpu", "P"), {}}}};
    EXPECT_NE(collector.collect(true).find("cpu10: ?\ncpu2: P\n\n"), std::string::npos);
    EXPECT_EQ(machine.registry.live, 0);
}

TEST_F(Diagnostics, AreKeptForFiveMinutesWhichCountSleep) {
    const std::string first = collector.collect(false);
    machine.clock.advance(Seconds(299));
    EXPECT_EQ(collector.collect(false), first);
    machine.clock.continuousTime += Seconds(1);
    const std::string second = collector.collect(false);
    EXPECT_NE(second, first);
    machine.clock.advance(Seconds(1));
    const std::string forced = collector.collect(true);
    EXPECT_NE(forced, second);
    EXPECT_EQ(collector.collect(false), forced);
}

TEST_F(Diagnostics, UploadsAFreshReportAndSaysHowItWent) {
    machine.systemSettings.variables["ZQM_COLLECTION_HOST"] = "collect.example";
    const std::string before = collector.collect(false);
    machine.clock.advance(Seconds(1));
    struct Case {
        HttpReply answer;
        std::string reply;
    };
    for (const auto& [answer, reply] : std::initializer_list<Case>{
             {{.error = {}, .status = 200, .body = "ignored"}, R"({"status":"sent"})"},
             {{.error = {}, .status = {}, .body = {}}, R"({"status":"sent"})"},
             {{.error = {}, .status = 201, .body = {}}, R"({"error":"server returned 201"})"},
             {{.error = {}, .status = 500, .body = {}}, R"({"error":"server returned 500"})"},
             {{.error = "said \"no\" \\ \n", .status = 200, .body = {}}, R"({"error":"said \"no\" \\ \n"})"},
         }) {
        machine.httpClient.atOnce = answer;
        EXPECT_EQ(uploadReport(collector), reply);
        EXPECT_TRUE(nlohmann::json::accept(reply));
    }
    const HttpRequest& request = machine.httpClient.requests.back();
    EXPECT_EQ(request.url, "https://collect.example/api/diagnostics");
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.contentType, "text/plain");
    EXPECT_EQ(request.timeout, Seconds(10));
    EXPECT_NE(request.body, before);
    EXPECT_EQ(request.body, collector.collect(false));
    machine.httpClient.requests.clear();
    for (const char* host : {"", "user@collect.example", "collect.example/else", "a b"}) {
        machine.systemSettings.variables["ZQM_COLLECTION_HOST"] = host;
        EXPECT_EQ(uploadReport(collector), R"({"error":"invalid url"})");
    }
    EXPECT_TRUE(machine.httpClient.requests.empty());
}

}  // namespace
}  // namespace zqm
