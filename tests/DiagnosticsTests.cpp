#include "ZQMHelper/Shared/DiagnosticsCollector.h"

#include <gtest/gtest.h>

#include "Platform/Process/LoopbackListener.h"
#include "ZQMHelper/ReportUploads.h"
#include "tests/fakes/FakePlatform.h"

// Whole reports of whole machines are golden texts; here stands what these do not show.

namespace zqm {
namespace {

struct Diagnostics : testing::Test {
    FakePlatform machine;
    DiagnosticsCollector collector{std::make_shared<SMCBridge>()};
    ReportUploads uploads{collector};

    std::shared_ptr<FakeConnection> ask() {
        auto asker = std::make_shared<FakeConnection>();
        uploads.ask(Caller(asker));
        return asker;
    }
};

TEST_F(Diagnostics, AreKeptForFiveMinutesWhichCountSleep) {
    const std::string first = collector.collect(false);
    EXPECT_NE(first.find("\n(no AppleARMPE service)\n"), first.npos);
    EXPECT_NE(first.find("\n(no AppleARMIODevice)\n"), first.npos);
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
             {"a.example", {.error = {}, .status = 200, .body = "ignored"}, R"({"status":"sent"})"},
             {"a.example", {.error = {}, .status = {}, .body = {}}, R"({"status":"sent"})"},
             {"a.example", {.error = {}, .status = 201, .body = {}}, R"({"error":"server returned 201"})"},
             {"a.example", {.error = "a \"b\" \\ \n", .status = 200, .body = {}}, R"({"error":"a \"b\" \\ \n"})"},
         }) {
        machine.clock.advance(Seconds(1));
        machine.systemSettings.variables["ZQM_COLLECTION_HOST"] = host;
        machine.httpClient.atOnce = answer;
        const auto asker = ask();
        machine.loop.runFor(Seconds(0));
        EXPECT_EQ(asker->body, reply);
    }
    ASSERT_EQ(machine.httpClient.requests.size(), 4u);
    const HttpRequest& request = machine.httpClient.requests.front();
    EXPECT_EQ(request.url, "https://a.example/api/diagnostics");
    EXPECT_EQ(request.method + " " + request.contentType, "POST text/plain");
    EXPECT_EQ(request.timeout, Seconds(10));
    EXPECT_NE(request.body, before);
    EXPECT_EQ(machine.httpClient.requests.back().body, collector.collect(false));
}

TEST_F(Diagnostics, OneUploadServesAllWhoWaitAndNobodyWhoHasGone) {
    const auto& requests = machine.httpClient.requests;
    machine.systemSettings.variables["ZQM_COLLECTION_HOST"] = "a.example";
    const auto pass = [this] { machine.clock.advance(Seconds(1)), machine.loop.runFor(Seconds(0)); };
    ask()->gone = true;  // while its report is built
    pass();
    EXPECT_TRUE(requests.empty());
    const auto first = ask();
    pass();
    std::vector<std::shared_ptr<FakeConnection>> later;
    while (later.size() < ReportUploads::mostWaiting) later.push_back(ask());
    EXPECT_EQ(later.back()->body, R"({"error":"too many wait already"})");
    for (const auto& asker : later) asker->gone = asker != later.front();
    const auto afterwards = ask();  // takes the place of one that has gone
    pass();
    machine.httpClient.completions.back()({.error = {}, .status = 200, .body = {}});
    EXPECT_EQ(first->body + later.front()->body, R"({"status":"sent"})");
    pass();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_NE(requests[0].body, requests[1].body);
    machine.httpClient.completions.back()({.error = {}, .status = 201, .body = {}});
    pass();
    EXPECT_EQ(later.front()->body + afterwards->body,
              R"({"error":"server returned 201"}{"error":"server returned 201"})");
    EXPECT_EQ(requests.size(), 2u);
}

}  // namespace
}  // namespace zqm
