#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "Client/Texts.h"
#include "Client/Web/WebDoor.h"
#include "Client/Web/WebServer.h"
#include "Platform/Posix/PosixFolder.h"
#include "Platform/UserServices.h"
#include "tests/fakes/FakePlatform.h"
#include "tests/fakes/TemporaryTree.h"

namespace zqm {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST(WebGate, LetsInWhoHoldsTheKeyAndAsksThisMachine) {
    struct Case {
        std::string listen, request;
        std::string_view verdict;  // the status, or the route and its range
    };
    const std::string loopback = "127.0.0.1:9933";
    const std::string key = "Authorization: Bearer 0123456789abcdef\r\n";
    const std::string own = " HTTP/1.1\r\nHost: localhost\r\n";
    for (const Case& one :
         {Case{loopback, "GET / HTTP/1.1\r\nHost: 127.0.0.1:9933\r\n", "0"},
          {loopback, "GET / HTTP/1.1\r\nHost: localhost:8000\r\n", "0"},  // through ssh -L
          {loopback, "HEAD / HTTP/1.1\r\nHost: [::1]:9933\r\n", "0 head"},
          {loopback, "GET / HTTP/1.1\r\nHost: evil.example:9933\r\n", "403"},
          {loopback, "GET / HTTP/1.1\r\nHost: 127.0.0.1.evil.example\r\n", "403"},
          {loopback, "GET / HTTP/1.1\r\nHost: 192.0.2.7:9933\r\n", "403"},
          {loopback, "GET / HTTP/1.1\r\n", "403"},
          {"192.0.2.7:65535", "GET / HTTP/1.1\r\nHost: 192.0.2.7\r\n", "0"},
          {"192.0.2.7:80", "GET / HTTP/1.1\r\nHost: 192.0.2.8\r\n", "403"},
          {"[2001:db8::7]:80", "GET / HTTP/1.1\r\nHost: [2001:db8::7]:80\r\n", "0"},
          {"0.0.0.0:80", "GET / HTTP/1.1\r\nHost: 192.0.2.8\r\n", "0"},
          {"0.0.0.0:80", "GET / HTTP/1.1\r\nHost: evil.example\r\n", "403"},
          {loopback, "POST /" + own, "405"},
          {loopback, "GET /x" + own + key, "404"},
          {loopback, "GET /api/now" + own, "401"},
          {loopback, "GET /api/now" + own + "Authorization: Bearer 0123456789abcdee\r\n", "401"},
          {loopback, "GET /api/now" + own + "Authorization: 0123456789abcdef\r\n", "401"},
          {loopback, "GET /api/now" + own + key, "1"},
          {loopback, "GET /api/now" + own + key + "Sec-Fetch-Site: same-origin\r\n", "1"},
          {loopback, "GET /api/now" + own + key + "Sec-Fetch-Site: same-site\r\n", "403"},
          {loopback, "GET /api/now" + own + key + "Sec-Fetch-Site: cross-site\r\nSec-Fetch-Dest: document\r\n", "403"},
          {loopback, "GET /" + own + "Sec-Fetch-Site: cross-site\r\nSec-Fetch-Dest: document\r\n", "0"},
          {loopback, "GET /" + own + "Sec-Fetch-Site: cross-site\r\nSec-Fetch-Dest: iframe\r\n", "403"},
          {loopback, "GET /api/history?to=9&from=7" + own + key, "2 7-9"},
          {loopback, "GET /api/cores?from=7&to=4294967295" + own + key, "3 7-4294967295"},
          {loopback, "GET /api/history?from=7" + own + key, "400"},
          {loopback, "GET /api/history?from=7&to=4294967296" + own + key, "400"},
          {loopback, "GET /api/history?from=-7&to=9" + own + key, "400"},
          {loopback, "GET /api/sources" + own + key, "4"}}) {
        const auto judged = webQuestion(one.request + "\r\n", {*parseListenAddress(one.listen), "0123456789abcdef"});
        const auto* const question = std::get_if<WebQuestion>(&judged);
        std::string verdict(question ? std::to_string(static_cast<int>(question->route))
                                     : std::get<std::string_view>(judged).substr(0, 3));
        if (question && question->to > 0)
            verdict += " " + std::to_string(question->from) + "-" + std::to_string(question->to);
        if (question && question->isHead) verdict += " head";
        EXPECT_EQ(verdict, one.verdict) << one.listen << " " << one.request;
    }
}

TEST(WebDoor, IsTheUsersOwnAndGoesWithTheServer) {
    TemporaryTree tree;
    PosixFolder folder(tree.path("state"));
    const WebAccess access{{"127.0.0.1", 9933}, newSecret()};
    EXPECT_EQ(access.key.size(), 32U);
    EXPECT_NE(access.key, newSecret());
    {
        const WebDoor door(folder, access);
        EXPECT_FALSE(door.problem());
        const auto found = openWebDoor(folder);
        ASSERT_TRUE(found);
        EXPECT_EQ(webUrl(*found), "http://127.0.0.1:9933/#" + access.key);
        const WebDoor another(folder, {{"::", 1}, "ab"});
    }
    EXPECT_FALSE(openWebDoor(folder));
    for (const std::string text : {"", "[]", R"({"address":7,"key":"ab"})", R"({"address":"localhost","key":"ab"})",
                                   R"({"address":"127.0.0.1:1","key":"ab\r\nX: 1"})", R"({"address":"127.0.0.1:1"})",
                                   R"({"address":"[::1:1","key":"ab"})"}) {
        tree.write("state/web.json", text);
        EXPECT_FALSE(openWebDoor(folder)) << text;
    }
    EXPECT_EQ(webUrl({{"::", 1}, "ab"}), "http://[::1]:1/#ab");
}

/// A page's server whose helper answers what the test says.
struct WebServed : testing::Test {
    HelperAnswer ask() {
        asked.push_back(machine.clock.monotonicTime.time_since_epoch().count());
        if (isAway) return HelperError{ExitStatus::helperAway, "away"};
        SnapshotReply reply;
        reply.snapshot.timestamp = machine.clock.wallTime - Seconds(age);
        reply.snapshot.cpu.perCoreUsage = {0.25};
        reply.snapshot.cpu.temperatureC = 99;
        return reply;
    }
    void serve(double interval) {
        const auto look = [this](const SystemSnapshot&) { return MachineFacts{"", "", "", Seconds(++looks), {}}; };
        const WebServer::Sources sources{[this] { return ask(); }, look, [this] { return std::to_string(++tables); }};
        const ServerServices services{machine.listener, machine.loop, machine.loop, machine.log, machine.clock};
        machine.loop.stop();
        server.emplace(sources, history, settings, Seconds(interval), services);
        EXPECT_FALSE(server->start({{"127.0.0.1", 9933}, "ab"}));
    }
    std::shared_ptr<FakeConnection> visit(const std::string& line) {
        auto visitor = std::make_shared<FakeConnection>();
        machine.listener.accepted(visitor);
        if (!line.empty()) visitor->say(line + " HTTP/1.1\r\nHost: localhost\r\nAuthorization: Bearer ab\r\n\r\n");
        return visitor;
    }
    nlohmann::json now() { return nlohmann::json::parse(visit("GET /api/now")->body); }

    TemporaryTree tree;
    FakePlatform machine;
    HistoryKeeper history{std::make_unique<PosixFolder>(tree.path("history")), machine.log};
    SettingsStore settings{machine.platform};
    bool isAway = false;
    double age = 0.5;
    std::vector<double> asked;  // when
    int looks = 0, tables = 0;
    std::optional<WebServer> server;
};

TEST_F(WebServed, AnswersAtOnceAndLooksOnlyWhileAsked) {
    serve(2);
    EXPECT_EQ(now()["problem"], said("asking the helper …"));
    EXPECT_TRUE(now()["sample"].is_null() && now()["slot"].is_null() && now()["facts"].is_null());
    machine.loop.runFor(Seconds(0));
    EXPECT_TRUE(now()["problem"].is_null());
    EXPECT_EQ(now()["facts"]["uptime"], 1);
    EXPECT_EQ(now()["values"]["cpu.temperature"], 99);
    machine.loop.runFor(Seconds(5));
    EXPECT_EQ(now()["levels"]["cpuHeat"], "critical") << "of the third sample";
    machine.loop.runFor(Seconds(10));
    EXPECT_EQ(std::exchange(looks, 0), asked.size());
    machine.loop.runFor(Seconds(9));
    EXPECT_EQ(looks, 0) << "nobody asks";
    EXPECT_TRUE(now()["facts"].is_null());
    const auto first = visit("GET /api/sources"), second = visit("GET /api/sources");
    machine.loop.runFor(Seconds(0));
    EXPECT_EQ(first->body + second->body, "{\"text\":\"1\"}{\"text\":\"1\"}");
    for (const std::string target : {"/", "/api/now", "/api/history?from=1&to=9", "/api/cores?from=1&to=9"}) {
        const auto whole = visit("GET " + target), head = visit("HEAD " + target);
        EXPECT_EQ(head->head, whole->head);
        EXPECT_NE(head->body.empty(), whole->body.empty());
    }
    EXPECT_EQ(visit("HEAD /api/sources")->body, "");
    EXPECT_EQ(tables, 1);
    EXPECT_THAT(visit("POST /")->head, HasSubstr("\r\nAllow: GET, HEAD\r\n"));
    const auto silent = visit("");
    machine.loop.runFor(Seconds(9.9));
    EXPECT_FALSE(silent->gone);
    machine.loop.runFor(Seconds(0.2));
    EXPECT_TRUE(silent->gone);
}

TEST_F(WebServed, SavesEveryFiveMinutesAndSaysOnceThatItCannot) {
    const auto isSavedAfter = [this](double seconds) {
        machine.loop.runFor(Seconds(seconds));
        const bool isSaved = std::filesystem::exists(tree.path("history/cores.zqmhist"));
        tree.remove("history");
        return isSaved;
    };
    serve(2);
    EXPECT_FALSE(isSavedAfter(299));
    EXPECT_TRUE(isSavedAfter(1));
    isAway = true;
    EXPECT_TRUE(isSavedAfter(300)) << "what came before";
    EXPECT_FALSE(isSavedAfter(300)) << "nothing has come since";
    isAway = false;
    tree.write("history", "in the way");
    EXPECT_FALSE(isSavedAfter(600));
    EXPECT_TRUE(isSavedAfter(302));
    server.reset();
    EXPECT_TRUE(isSavedAfter(0)) << "at the end";
    EXPECT_THAT(machine.log.lines,
                ElementsAre("zephlon: away", "zephlon: " + said("the helper answers again"),
                            "zephlon: " + said("the history is not saved: {}", tree.path("history: Not a directory")),
                            "zephlon: " + said("the history is saved again")));
}

TEST_F(WebServed, AsksInTheMiddleBetweenTwoSamples) {
    constexpr double away = -1e9;
    constexpr double cases[][3] = {{2, 0.5, 2.5}, {2, 1, 2},      {2, 5, 1},    {2, -5, 3},     {0.1, 9, 0.1},
                                   {100, 80, 60}, {0.1, away, 1}, {4, away, 4}, {100, away, 15}};
    for (const auto& [interval, ago, next] : cases) {
        isAway = ago == away;
        age = ago;
        asked.clear();
        serve(interval);
        machine.loop.runFor(Seconds(70));
        EXPECT_NEAR(asked.at(1) - asked.at(0), next, 1e-6) << interval << " " << ago;
    }
}

}  // namespace
}  // namespace zqm
