#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Support/HttpText.h"
#include "ZQMHelper/HTTPServer.h"
#include "fuzz/CommandModel.h"
#include "fuzz/Fuzzing.h"
#include "fuzz/Utf8Model.h"
#include "tests/fakes/FakePlatform.h"

// Any bytes as a request to the whole server, whose answers must be those of a second, slower server that is written
// down rule by rule below. An input that begins with "~" stands for a request in which the rest of it lies across the
// end of what is looked at.

namespace zqm {
namespace {

constexpr std::size_t bound = 16384;

struct Page {
    const char* path;
    std::optional<std::string> token;
    std::string body;
};
using Site = std::vector<Page>;

const std::vector<Site> sites{
    {{"/api/ping", "secret", R"({"ok":true})"},
     {"/open", std::nullopt, "caf\u00E9"},
     {"/empty", std::nullopt, ""},
     {"/long", "0123456789abcdef0123456789abcdef", std::string(20000, 'l')}},
    {{"/", "", "root"}, {"/api/ping", " two  words ", "{}"}, {"/api/ping?x", "X-ZQM-Token:", "?"}},
    {{"/", std::nullopt, "open root"}},
};

/// What the client receives; nullopt when the connection is closed without a byte.
std::optional<std::string> expectedAnswer(std::string_view request, const Site& site) {
    if (request.empty() || decodedModel(request) != request) return std::nullopt;
    const auto lines = pieces(request, "\r\n");
    const auto words = lines.empty() ? std::vector<std::string>() : pieces(lines.front(), " ");
    const std::string path = words.size() < 2 ? "/" : words[1];
    const auto page = std::find_if(site.begin(), site.end(), [&](const Page& any) { return any.path == path; });
    constexpr auto refused = "\r\nContent-Length: 2\r\nConnection: close\r\n\r\n{}";
    if (page == site.end()) return std::string("HTTP/1.1 404 Not Found") + refused;
    const std::string prefix = "X-ZQM-Token: ";
    const auto line =
        std::find_if(lines.begin(), lines.end(), [&](const std::string& any) { return any.starts_with(prefix); });
    auto token = line == lines.end() ? std::nullopt : std::optional(*line);
    for (std::size_t at = 0; token && (at = token->find(prefix, at)) != token->npos;) token->erase(at, prefix.size());
    if (page->token && token != page->token) return std::string("HTTP/1.1 403 Forbidden") + refused;
    return "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nAccess-Control-Allow-Origin: *\r\nContent-Length: " +
           std::to_string(page->body.size()) + "\r\nConnection: close\r\n\r\n" + page->body;
}

struct Client final : Connection {
    void receive(std::size_t maximum, std::function<void(std::string_view)> callback) override {
        require(!received && maximum == bound, "one read of at most 16,384 bytes");
        received = std::move(callback);
    }
    void send(std::string message) override {
        cancel();
        answer = std::move(message);
    }
    void cancel() override { require(!std::exchange(ended, true), "a connection ends once"); }
    bool isGone(std::string_view) override { return ended; }
    std::function<void(std::string_view)> received;
    std::optional<std::string> answer;
    bool ended = false;
};

/// A started server with the pages of one site.
struct Host {
    explicit Host(const Site& site) : pages(site) {
        for (const Page& page : site) {
            server.routes[page.path] = {page.token, [this, &page](const Caller& caller) {
                                            ++calls;
                                            caller.answer(page.body);
                                        }};
        }
        server.start();
    }
    void serve(std::string_view sent) {
        const auto client = std::make_shared<Client>();
        calls = 0;
        platform.listener.accepted(client);
        std::exchange(client->received, nullptr)(sent.substr(0, bound));
        platform.loop.runFor(Seconds(0));
        const auto expected = expectedAnswer(sent.substr(0, bound), pages);
        require(client->ended, "a request comes to an end");
        require(client->answer == expected, "the answer is the one of the rules");
        require(calls == (expected && expected->starts_with("HTTP/1.1 200") ? 1 : 0), "a served page is made once");
        platform.log.systemLines.clear();
    }
    const Site& pages;
    FakePlatform platform;
    HTTPServer server{platform.platform};
    int calls = 0;
};

std::string acrossTheBound(std::string_view rest) {
    std::string sent = "GET /api/ping HTTP/1.1\r\nPadding: ";
    sent.resize(std::max(sent.size(), bound - rest.size() / 2), 'p');
    return sent.append(rest);
}

}  // namespace
}  // namespace zqm

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace zqm;
    static Host hosts[]{Host(sites[0]), Host(sites[1]), Host(sites[2])};
    const auto input = textOf(data, size);
    const std::string sent = input.starts_with('~') ? acrossTheBound(input.substr(1)) : std::string(input);
    for (Host& host : hosts) host.serve(sent);
    for (const std::string_view accepted : {headerOf(sent, "accept"), std::string_view(sent)}) {
        const double weight = weightOf(accepted, "text/plain", "0.0.4");
        require(weight >= 0 && weight <= 1, "a weight is a share of 1");
    }
    return 0;
}
