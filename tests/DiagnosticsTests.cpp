#include "ZQMHelper/Shared/DiagnosticsCollector.h"

#include <gtest/gtest.h>

#include "ZQMHelper/ReportUpload.h"
#include "tests/fakes/FakePlatform.h"

// Whole reports of whole machines are golden texts; here stands what these do not show.

namespace zqm {
namespace {

struct Diagnostics : testing::Test {
    FakePlatform machine;
    DiagnosticsCollector collector{std::make_shared<SMCBridge>()};
};

TEST_F(Diagnostics, NameTheServicesThatAreNotThere) {
    const std::string report = collector.collect(false);
    for (const char* line : {"App: ? (?)", "nperflevels: -1", "(no AppleARMPE service)", "(no AppleARMIODevice)"}) {
        EXPECT_NE(report.find(std::string("\n") + line + "\n"), report.npos) << line;
    }
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
    const std::string before = collector.collect(false);
    struct Case {
        const char* host;
        HttpReply answer;
        std::string reply;
    };
    for (const auto& [host, answer, reply] : std::initializer_list<Case>{
             {"", {}, R"({"error":"invalid url"})"},
             {"user@a.example", {}, R"({"error":"invalid url"})"},
             {"a.example/else", {}, R"({"error":"invalid url"})"},
             {"a b", {}, R"({"error":"invalid url"})"},
             {"a.example", {.error = {}, .status = 200, .body = "ignored"}, R"({"status":"sent"})"},
             {"a.example", {.error = {}, .status = {}, .body = {}}, R"({"status":"sent"})"},
             {"a.example", {.error = {}, .status = 201, .body = {}}, R"({"error":"server returned 201"})"},
             {"a.example", {.error = "a \"b\" \\ \n", .status = 200, .body = {}}, R"({"error":"a \"b\" \\ \n"})"},
         }) {
        machine.clock.advance(Seconds(1));
        machine.systemSettings.variables["ZQM_COLLECTION_HOST"] = host;
        machine.httpClient.atOnce = answer;
        EXPECT_EQ(uploadReport(collector), reply);
    }
    ASSERT_EQ(machine.httpClient.requests.size(), 4u);
    const HttpRequest& request = machine.httpClient.requests.front();
    EXPECT_EQ(request.url, "https://a.example/api/diagnostics");
    EXPECT_EQ(request.method + " " + request.contentType, "POST text/plain");
    EXPECT_EQ(request.timeout, Seconds(10));
    EXPECT_NE(request.body, before);
    EXPECT_EQ(machine.httpClient.requests.back().body, collector.collect(false));
}

}  // namespace
}  // namespace zqm
