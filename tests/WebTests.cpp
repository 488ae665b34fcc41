#include <gtest/gtest.h>

#include <string>

#include "Client/Web/WebDoor.h"
#include "Client/Web/WebGate.h"
#include "Platform/Posix/PosixFolder.h"
#include "Platform/UserServices.h"
#include "tests/fakes/TemporaryTree.h"

namespace zqm {
namespace {

TEST(WebGate, LetsInWhoHoldsTheKeyAndAsksThisMachine) {
    struct Case {
        std::string listen, request;
        std::string_view verdict;  // the status, or the route and its range
    };
    const std::string loopback = "127.0.0.1:9933";
    const std::string key = "Authorization: Bearer 0123456789abcdef\r\n";
    for (const Case& one :
         {Case{loopback, "GET / HTTP/1.1\r\nHost: 127.0.0.1:9933\r\n\r\n", "0"},
          {loopback, "GET / HTTP/1.1\r\nHost: localhost:8000\r\n\r\n", "0"},  // through ssh -L
          {loopback, "HEAD / HTTP/1.1\r\nHost: [::1]:9933\r\n\r\n", "0 head"},
          {loopback, "GET / HTTP/1.1\r\nHost: evil.example:9933\r\n\r\n", "403"},
          {loopback, "GET / HTTP/1.1\r\nHost: 127.0.0.1.evil.example\r\n\r\n", "403"},
          {loopback, "GET / HTTP/1.1\r\nHost: 192.0.2.7:9933\r\n\r\n", "403"},
          {loopback, "GET / HTTP/1.1\r\n\r\n", "403"},
          {"192.0.2.7:80", "GET / HTTP/1.1\r\nHost: 192.0.2.7\r\n\r\n", "0"},
          {"192.0.2.7:80", "GET / HTTP/1.1\r\nHost: 192.0.2.8\r\n\r\n", "403"},
          {"[2001:db8::7]:80", "GET / HTTP/1.1\r\nHost: [2001:db8::7]:80\r\n\r\n", "0"},
          {"0.0.0.0:80", "GET / HTTP/1.1\r\nHost: 192.0.2.8\r\n\r\n", "0"},
          {"0.0.0.0:80", "GET / HTTP/1.1\r\nHost: evil.example\r\n\r\n", "403"},
          {loopback, "POST / HTTP/1.1\r\nHost: localhost\r\n\r\n", "405"},
          {loopback, "GET /x HTTP/1.1\r\nHost: localhost\r\n" + key + "\r\n", "404"},
          {loopback, "GET /api/now HTTP/1.1\r\nHost: localhost\r\n\r\n", "401"},
          {loopback, "GET /api/now HTTP/1.1\r\nHost: localhost\r\nAuthorization: Bearer 0123456789abcdee\r\n\r\n",
           "401"},
          {loopback, "GET /api/now HTTP/1.1\r\nHost: localhost\r\nAuthorization: 0123456789abcdef\r\n\r\n", "401"},
          {loopback, "GET /api/now HTTP/1.1\r\nHost: localhost\r\n" + key + "\r\n", "1"},
          {loopback, "GET /api/now HTTP/1.1\r\nHost: localhost\r\n" + key + "Sec-Fetch-Site: same-origin\r\n\r\n", "1"},
          {loopback, "GET /api/now HTTP/1.1\r\nHost: localhost\r\n" + key + "Sec-Fetch-Site: same-site\r\n\r\n", "403"},
          {loopback,
           "GET /api/now HTTP/1.1\r\nHost: localhost\r\n" + key +
               "Sec-Fetch-Site: cross-site\r\nSec-Fetch-Dest: document\r\n\r\n",
           "403"},
          {loopback,
           "GET / HTTP/1.1\r\nHost: localhost\r\nSec-Fetch-Site: cross-site\r\nSec-Fetch-Dest: document\r\n\r\n", "0"},
          {loopback,
           "GET / HTTP/1.1\r\nHost: localhost\r\nSec-Fetch-Site: cross-site\r\nSec-Fetch-Dest: iframe\r\n\r\n", "403"},
          {loopback, "GET /api/history?to=9&from=7 HTTP/1.1\r\nHost: localhost\r\n" + key + "\r\n", "2 7-9"},
          {loopback, "GET /api/cores?from=7&to=4294967295 HTTP/1.1\r\nHost: localhost\r\n" + key + "\r\n",
           "3 7-4294967295"},
          {loopback, "GET /api/history?from=7 HTTP/1.1\r\nHost: localhost\r\n" + key + "\r\n", "400"},
          {loopback, "GET /api/history?from=7&to=4294967296 HTTP/1.1\r\nHost: localhost\r\n" + key + "\r\n", "400"},
          {loopback, "GET /api/history?from=-7&to=9 HTTP/1.1\r\nHost: localhost\r\n" + key + "\r\n", "400"},
          {loopback, "GET /api/sources HTTP/1.1\r\nHost: localhost\r\n" + key + "\r\n", "4"}}) {
        const auto judged = webQuestion(one.request, {*parseListenAddress(one.listen), "0123456789abcdef"});
        std::string verdict;
        if (const auto* refusal = std::get_if<std::string_view>(&judged)) {
            verdict = refusal->substr(0, 3);
        } else {
            const auto& question = std::get<WebQuestion>(judged);
            verdict = std::to_string(static_cast<int>(question.route));
            if (question.to > 0) verdict += " " + std::to_string(question.from) + "-" + std::to_string(question.to);
            if (question.isHead) verdict += " head";
        }
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
                                   R"({"address":"127.0.0.1:1","key":"ab\r\nX: 1"})", R"({"address":"127.0.0.1:1"})"}) {
        tree.write("state/web.json", text);
        EXPECT_FALSE(openWebDoor(folder)) << text;
    }
    EXPECT_EQ(webUrl({{"::", 1}, "ab"}), "http://[::1]:1/#ab");
}

}  // namespace
}  // namespace zqm
