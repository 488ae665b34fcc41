#include "Platform/Posix/CurlHttpClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <future>
#include <map>
#include <memory>
#include <thread>

#include "tests/fakes/TemporaryTree.h"

namespace zqm {
namespace {

using namespace std::chrono_literals;
using testing::ContainsRegex;

/// tests/tls_server.py as a child process; it ends when this does.
class TlsServer {
public:
    TlsServer() {
        int input[2];
        int output[2];
        if (::pipe(input) != 0 || ::pipe(output) != 0) throw std::runtime_error("pipe");
        const std::string script = ZQM_TEST_DATA "/tls_server.py";
        child_ = ::fork();
        if (child_ == 0) {
            ::dup2(input[0], STDIN_FILENO);
            ::dup2(output[1], STDOUT_FILENO);
            for (const int descriptor : {input[0], input[1], output[0], output[1]}) ::close(descriptor);
            ::execlp("python3", "python3", script.c_str(), tree_.root().c_str(), nullptr);
            ::_exit(127);
        }
        ::close(input[0]);
        ::close(output[1]);
        input_ = input[1];
        output_ = ::fdopen(output[0], "r");
        for (auto line = readLine(); line != "ready"; line = readLine()) {
            const auto space = line.find(' ');
            if (space == std::string::npos) throw std::runtime_error("the server does not start");
            hosts_[line.substr(0, space)] = "https://127.0.0.1:" + line.substr(space + 1);
        }
    }
    ~TlsServer() {
        ::close(input_);
        ::fclose(output_);
        ::waitpid(child_, nullptr, 0);
    }
    TlsServer(const TlsServer&) = delete;
    TlsServer& operator=(const TlsServer&) = delete;

    std::string authority() const { return tree_.path("authority.pem"); }
    std::string url(const std::string& server, const std::string& target) const { return hosts_.at(server) + target; }
    std::string readLine() {
        char text[256];
        if (!::fgets(text, sizeof text, output_)) return {};
        std::string line = text;
        line.pop_back();
        return line;
    }

private:
    TemporaryTree tree_;
    std::map<std::string, std::string> hosts_;
    pid_t child_ = -1;
    int input_ = -1;
    FILE* output_ = nullptr;
};

class Https : public testing::Test {
protected:
    static void SetUpTestSuite() {
        server_ = std::make_unique<TlsServer>();
        ::setenv("ZQM_CA_FILE", server_->authority().c_str(), 1);
        ::setenv("no_proxy", "127.0.0.1", 1);
    }
    static void TearDownTestSuite() {
        ::unsetenv("ZQM_CA_FILE");
        server_.reset();
    }

    static HttpRequest get(const std::string& target, const std::string& server = "good") {
        HttpRequest request;
        request.url = server_->url(server, target);
        return request;
    }
    static HttpRequest post(const std::string& target, std::string body) {
        HttpRequest request = get(target);
        request.method = "POST";
        request.contentType = "text/plain";
        request.body = std::move(body);
        return request;
    }
    static std::future<HttpReply> start(HttpClient& client, HttpRequest request) {
        auto reply = std::make_shared<std::promise<HttpReply>>();
        client.start(std::move(request), [reply](HttpReply answer) { reply->set_value(std::move(answer)); });
        return reply->get_future();
    }
    static HttpReply ask(HttpRequest request) {
        CurlHttpClient client;
        return start(client, std::move(request)).get();
    }

    static inline std::unique_ptr<TlsServer> server_;
};

/// A thread of this process by the name that it gave itself.
bool isThreadThere(const std::string& name) {
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string found;
        std::getline(std::ifstream(thread.path() / "comm"), found);
        if (found == name) return true;
    }
    return false;
}

TEST_F(Https, BringsStatusAndBody) {
    CurlHttpClient client;
    const std::string most(64 * 1024, 'x');
    std::string sent;
    for (int i = 0; i < 60'000; ++i) sent.push_back(static_cast<char>(i % 256));
    HttpRequest bare = post("/echo", "{}");
    bare.contentType.clear();
    struct Case {
        HttpRequest request;
        int status;
        std::string body;
    };
    for (const auto& [request, status, body] : std::initializer_list<Case>{
             {get("/status?200"), 200, "body"},
             {get("/status?201"), 201, "body"},
             {get("/status?204"), 204, ""},
             {get("/status?500"), 500, "body"},
             {get("/bytes?65536"), 200, most},
             {get("/echo"), 200, "GET|None|"},
             {post("/echo", sent), 200, "POST|text/plain|" + sent},
             {post("/echo", ""), 200, "POST|text/plain|"},
             {bare, 200, "POST|None|{}"},
             {get("/redirect?302,/status?201"), 201, "body"},
             {get("/again?5"), 200, "body"},
             {post("/redirect?307,/echo", "kept"), 200, "POST|text/plain|kept"},
             {post("/redirect?308,/echo", "kept"), 200, "POST|text/plain|kept"},
         }) {
        const HttpReply reply = start(client, request).get();
        EXPECT_EQ(reply.error, std::nullopt) << request.url;
        EXPECT_EQ(reply.status, status) << request.url;
        EXPECT_TRUE(reply.body == body) << request.url << " " << reply.body.substr(0, 100);
    }
}

TEST_F(Https, SaysWhyThereIsNoAnswer) {
    CurlHttpClient client;
    HttpRequest plain = get("/status?200");
    plain.url.erase(plain.url.find('s'), 1);
    HttpRequest invalid;
    invalid.url = "https://";
    struct Case {
        HttpRequest request;
        const char* error;
    };
    for (const auto& [request, error] : std::initializer_list<Case>{
             {get("/", "closed"), "connect"},
             {get("/status?200", "elsewhere"), "no alternative certificate subject name matches"},
             {get("/status?200", "expired"), "certificate has expired"},
             {get("/status?200", "untrusted"), "unable to get local issuer certificate"},
             {get("/bytes?65537"), "^response too large$"},
             {get("/bytes?10000000"), "^response too large$"},
             {get("/reset"), "."},
             {get("/garbage"), "HTTP/0.9"},
             {get("/redirect?302,http://127.0.0.1:1/"), "http.* not supported or disabled"},
             {get("/redirect?302,file:///etc/passwd"), "file.* not supported or disabled"},
             {get("/again?6"), "[Mm]aximum .*redirects"},
             {plain, "http.* not supported or disabled"},
             {invalid, "."},
         }) {
        const HttpReply reply = start(client, request).get();
        EXPECT_THAT(reply.error.value_or(""), ContainsRegex(error)) << request.url;
        EXPECT_EQ(reply.status, std::nullopt) << request.url;
        EXPECT_EQ(reply.body, "") << request.url;
    }
    EXPECT_EQ(start(client, get("/status?200")).get().status, 200);  // nothing of it stays behind
}

TEST_F(Https, TheTimeoutEndsEveryKindOfStall) {
    CurlHttpClient client;
    for (HttpRequest request :
         {get("/slow"), get("/", "silent"), post("/stall?timeout", std::string(20'000'000, 'x'))}) {
        request.timeout = 300ms;
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_THAT(start(client, request).get().error.value_or(""), ContainsRegex("timed out")) << request.url;
        const auto duration = std::chrono::steady_clock::now() - begin;
        EXPECT_GE(duration, 290ms) << request.url;
        EXPECT_LT(duration, 10s) << request.url;
    }
}

TEST_F(Https, TrustsNoUnnamedAuthority) {
    ::unsetenv("ZQM_CA_FILE");
    EXPECT_THAT(ask(get("/status?200")).error.value_or(""), ContainsRegex("certificate"));
    ::setenv("ZQM_CA_FILE", "/nowhere.pem", 1);
    EXPECT_THAT(ask(get("/status?200")).error.value_or(""), ContainsRegex("certificate"));
    ::setenv("ZQM_CA_FILE", server_->authority().c_str(), 1);
    EXPECT_EQ(ask(get("/status?200")).status, 200);
}

TEST_F(Https, ServesEightAtOnceAndTheRestInTurn) {
    CurlHttpClient client;
    std::vector<std::future<HttpReply>> replies(24);
    std::vector<std::thread> callers;
    for (int caller = 0; caller < 4; ++caller) {
        callers.emplace_back([&, caller] {
            for (std::size_t i = caller; i < replies.size(); i += 4) replies[i] = start(client, get("/together"));
        });
    }
    for (auto& caller : callers) caller.join();
    for (auto& reply : replies) {
        const HttpReply answer = reply.get();  // the server answers when eight requests are there
        EXPECT_EQ(answer.error, std::nullopt);
        EXPECT_EQ(answer.body, "8");
    }
}

TEST_F(Https, RequestsTimeOutWhileTheyWaitForTheirTurn) {
    CurlHttpClient client;
    std::vector<std::future<HttpReply>> stalled;
    for (int i = 0; i < 8; ++i) stalled.push_back(start(client, get("/", "silent")));
    HttpRequest late = get("/status?200");
    late.timeout = 100ms;
    EXPECT_THAT(start(client, late).get().error.value_or(""), ContainsRegex("[Tt]ime"));
    EXPECT_EQ(stalled.back().wait_for(0s), std::future_status::timeout);
}

TEST_F(Https, DestructionCancelsEverythingAtOnce) {
    auto client = std::make_unique<CurlHttpClient>();
    std::vector<std::future<HttpReply>> replies;
    replies.push_back(start(*client, post("/stall?cancel", std::string(20'000'000, 'x'))));
    for (int i = 0; i < 9; ++i) replies.push_back(start(*client, get("/", "silent")));
    std::string stalled;
    do stalled = server_->readLine();
    while (stalled == "timeout");
    EXPECT_EQ(stalled, "cancel");
    const auto begin = std::chrono::steady_clock::now();
    client.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
    for (auto& reply : replies) EXPECT_EQ(reply.get().error, "cancelled");
}

TEST_F(Https, TheThreadIsThereOnlyWhileItIsNeeded) {
    CurlHttpClient client("libcurl.so.4", 1ms);
    for (int round = 0; round < 3; ++round) {
        EXPECT_FALSE(isThreadThere("zqm.urlsession"));
        std::promise<bool> isNamed;
        client.start(get("/status?200"), [&](const HttpReply&) { isNamed.set_value(isThreadThere("zqm.urlsession")); });
        EXPECT_TRUE(isNamed.get_future().get());
        const auto end = std::chrono::steady_clock::now() + 10s;
        while (isThreadThere("zqm.urlsession") && std::chrono::steady_clock::now() < end) std::this_thread::yield();
    }
}

TEST_F(Https, ACompletionMayStartTheNextRequest) {
    CurlHttpClient client;
    std::promise<HttpReply> second;
    client.start(get("/status?201"), [&](const HttpReply&) {
        client.start(get("/status?202"), [&](HttpReply reply) { second.set_value(std::move(reply)); });
    });
    EXPECT_EQ(second.get_future().get().status, 202);
}

TEST(HttpsWithoutLibrary, SaysWhatIsMissing) {
    for (const auto& [library, error] : {std::pair{"libnowhere.so.4", "libnowhere.so.4.*No such file"},
                                         std::pair{"libm.so.6", "undefined symbol: curl_global_init"}}) {
        CurlHttpClient client(library);
        for (int round = 0; round < 2; ++round) {
            std::promise<HttpReply> reply;
            client.start({}, [&](HttpReply answer) { reply.set_value(std::move(answer)); });
            EXPECT_THAT(reply.get_future().get().error.value_or(""), ContainsRegex(error));
        }
    }
}

}  // namespace
}  // namespace zqm
