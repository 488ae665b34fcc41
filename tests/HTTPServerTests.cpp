#include "ZQMHelper/HTTPServer.h"

#include <gtest/gtest.h>

namespace zqm {
namespace {

using Kind = Verdict::Kind;

TEST(HTTPServer, JudgesRequestsByPathAndFirstTokenLine) {
    const RouteTable routes{{"/api/ping", {"secret", {}}}, {"/open", {std::nullopt, {}}}};
    struct Case {
        const char* what;
        std::string request;
        Kind kind;
    };
    const std::string ping = "GET /api/ping HTTP/1.1\r\n";
    for (const auto& [what, request, kind] : std::initializer_list<Case>{
             {"nothing", "", Kind::close},
             {"cut within a character", "GET /open\r\nHost: \xC3", Kind::close},
             {"right token", ping + "X-ZQM-Token: secret\r\n\r\n", Kind::serve},
             {"any method, line cut short", "brew  /api/ping\r\nX-ZQM-Token: secret", Kind::serve},
             {"empty lines before", "\r\n\r\n" + ping + "X-ZQM-Token: secret", Kind::serve},
             {"prefix inside the token", ping + "X-ZQM-Token: secX-ZQM-Token: ret", Kind::serve},
             {"body with a later token", ping + "X-ZQM-Token: secret\r\n\r\nX-ZQM-Token: wrong", Kind::serve},
             {"wrong token", ping + "X-ZQM-Token: Secret\r\n", Kind::forbidden},
             {"only the first line counts", ping + "X-ZQM-Token: no\r\nX-ZQM-Token: secret\r\n", Kind::forbidden},
             {"trailing space", ping + "X-ZQM-Token: secret \r\n", Kind::forbidden},
             {"NUL after the token", ping + std::string("X-ZQM-Token: secret\0\r\n", 22), Kind::forbidden},
             {"other case", ping + "x-zqm-token: secret\r\n", Kind::forbidden},
             {"bare line feeds", "GET /api/ping HTTP/1.1\nX-ZQM-Token: secret\n\n", Kind::forbidden},
             {"unknown path", "GET /api HTTP/1.1\r\nX-ZQM-Token: secret\r\n", Kind::notFound},
             {"query", "GET /api/ping?x HTTP/1.1\r\nX-ZQM-Token: secret\r\n", Kind::notFound},
             {"tab does not separate", "GET\t/open HTTP/1.1\r\n", Kind::notFound},
             {"path ends at the line", "GET /open\nHTTP/1.1\r\n", Kind::notFound},
             {"no path", "GET\r\n/open /open\r\n", Kind::notFound},
             {"no lines", "\r\n\r\n", Kind::notFound},
             {"open route", "GET /open", Kind::serve},
         }) {
        EXPECT_EQ(judge(request, routes).kind, kind) << what;
    }
    RouteTable rooted;
    rooted["/"] = {"", {}};
    EXPECT_EQ(judge("GET", rooted).kind, Kind::forbidden) << "an empty token is demanded too";
    EXPECT_EQ(judge("GET\r\nX-ZQM-Token: ", rooted).route, &rooted["/"]);
}

TEST(HTTPServer, WritesResponsesByteForByte) {
    EXPECT_EQ(okResponse("é{}"),
              "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nAccess-Control-Allow-Origin: *\r\n"
              "Content-Length: 4\r\nConnection: close\r\n\r\né{}");
    EXPECT_EQ(fixedResponse(Kind::forbidden),
              "HTTP/1.1 403 Forbidden\r\nContent-Length: 2\r\nConnection: close\r\n\r\n{}");
    EXPECT_EQ(fixedResponse(Kind::notFound),
              "HTTP/1.1 404 Not Found\r\nContent-Length: 2\r\nConnection: close\r\n\r\n{}");
}

}  // namespace
}  // namespace zqm
