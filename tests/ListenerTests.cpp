#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <ctime>
#include <future>
#include <thread>

#include "Platform/Posix/AsioListener.h"
#include "Platform/Posix/Descriptor.h"
#include "ZQMHelper/HTTPServer.h"
#include "tests/fakes/FakePlatform.h"

namespace zqm {
namespace {

using Lines = std::vector<std::string>;

const std::string okReply = okResponse("{\"ok\":true}");

/// The server on real sockets. "/later" keeps its callers until a test answers them.
struct Helper {
    explicit Helper(std::uint16_t port = 0, const char* connectionLog = "1") {
        fakes.systemSettings.variables["ZQM_CONNECTION_LOG"] = connectionLog;
        server->port = port;
        server->routes["/open"] = {std::nullopt, [](const Caller& caller) { caller.answer("{\"ok\":true}"); }};
        server->routes["/large"] = {std::nullopt,
                                    [](const Caller& caller) { caller.answer(std::string(8 << 20, 'x')); }};
        server->routes["/later"] = {std::nullopt, [this](const Caller& caller) { later.push_back(caller); }};
        server->start();
    }
    /// Runs on the listener's thread.
    template <class Task>
    auto there(Task task) {
        const auto packaged = std::make_shared<std::packaged_task<decltype(task())()>>(task);
        listener.post([packaged] { (*packaged)(); });
        return packaged->get_future().get();
    }

    std::vector<Caller> later;
    AsioListener listener;
    FakePlatform fakes;
    Platform platform = fakes.with(fakes.loop, listener, fakes.log);
    std::unique_ptr<HTTPServer> server = std::make_unique<HTTPServer>(platform);
};

class Client {
public:
    Client() : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {}
    explicit Client(const Helper& helper, std::string_view request = {}) : Client() { ask(helper, request); }

    void ask(const Helper& helper, std::string_view request) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(helper.listener.port());
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(::connect(socket_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        send(request);
    }
    void send(std::string_view bytes) {
        EXPECT_EQ(::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    }
    void endSending() { ::shutdown(socket_.get(), SHUT_WR); }
    /// Everything up to the end of the stream; "reset" or "silence" when it does not come.
    std::string reply(int milliseconds = 10000) {
        const timeval patience{milliseconds / 1000, milliseconds % 1000 * 1000};
        ::setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        std::string all;
        std::array<char, 65536> block;
        for (;;) {
            const auto count = ::recv(socket_.get(), block.data(), block.size(), 0);
            if (count == 0) return all;
            if (count < 0) return errno == EAGAIN ? "silence" : "reset";
            all.append(block.data(), static_cast<std::size_t>(count));
        }
    }

private:
    Descriptor socket_;
};

/// Changes how many files the process may open; returns how many it might.
rlim_t limitFiles(rlim_t files) {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    std::swap(limit.rlim_cur, files);
    EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
    return files;
}

TEST(Listener, AnswersTheFirstReadWholeWhateverElseTheClientSends) {
    Helper helper;
    const std::string extra(100 * 1024, 'y');
    EXPECT_EQ(Client(helper, "GET /open HTTP/1.1\r\n").reply(), okReply);
    EXPECT_EQ(Client(helper, "GET /open HTTP/1.1\r\n\r\n" + extra).reply(), okReply);
    Client large(helper, "GET /large\r\n" + extra);
    large.send(extra);
    EXPECT_EQ(large.reply(), okResponse(std::string(8 << 20, 'x')));
    Client silent(helper);
    silent.endSending();
    EXPECT_EQ(silent.reply(), "");
    helper.listener.stop();
    const Lines& lines = helper.fakes.log.systemLines;
    ASSERT_EQ(lines.size(), 8u);
    EXPECT_EQ(lines[0] + lines[1] + lines[7],
              "[ZQMHelper] connection received[ZQMHelper] data received: 20 bytes[ZQMHelper] data received: 0 bytes");
}

TEST(Listener, TellsCallersThatHaveGoneFromThoseThatStillRead) {
    Helper helper;
    auto askLater = [&, count = 0u](std::string_view request) mutable {
        auto client = std::make_unique<Client>(helper, request);
        for (++count; helper.there([&] { return helper.later.size(); }) < count;) std::this_thread::yield();
        return client;
    };
    const auto waiting = askLater("GET /later"), halfClosed = askLater("GET /later");
    waiting->send("y");
    auto closed = askLater("GET /later\r\n" + std::string(100 * 1024, 'y'));
    halfClosed->endSending();
    closed.reset();
    const auto gone = [&] {
        return helper.there([&] {
            std::string signs;
            for (const Caller& caller : helper.later) signs += caller.isGone() ? '-' : '+';
            return signs;
        });
    };
    for (int i = 0; i < 1000 && gone() != "++-"; ++i) std::this_thread::yield();
    EXPECT_EQ(gone(), "++-");
    EXPECT_EQ(waiting->reply(20), "silence") << "nothing is sent ahead to those who still send";
    for (const Caller& caller : helper.later) caller.answer("{\"ok\":true}");
    EXPECT_EQ(waiting->reply(), okReply);
    EXPECT_EQ(halfClosed->reply(), okReply);
}

TEST(Listener, APortIsTakenOverAtOnceButNotShared) {
    Helper helper;
    const auto port = helper.listener.port();
    EXPECT_EQ(Client(helper, "GET /open").reply(), okReply);  // leaves a connection lingering in the kernel
    Helper second(port);
    EXPECT_EQ(second.server->listener, nullptr);
    EXPECT_EQ(second.fakes.log.lines, Lines{"[ZQMHelper] listener failed: Address already in use"});
    helper.server.reset();
    Helper third(port, "0");
    EXPECT_EQ(Client(third, "GET /open").reply(), okReply);
    third.listener.stop();
    EXPECT_TRUE(third.fakes.log.systemLines.empty());
}

TEST(Listener, TheLongestSilentClientMakesRoomForTheNext) {
    const auto files = limitFiles(128);  // 64 of them for connections
    Helper helper;
    limitFiles(files);
    Client asking(helper);
    std::vector<std::unique_ptr<Client>> silent;
    for (int i = 0; i < 63; ++i) silent.push_back(std::make_unique<Client>(helper));
    EXPECT_EQ(silent.front()->reply(100), "silence");
    asking.send("GET /later");  // and is silent no more
    while (helper.there([&] { return helper.later.empty(); })) std::this_thread::yield();
    Client next(helper, "GET /open");
    EXPECT_EQ(next.reply(), okReply);
    EXPECT_EQ(silent[0]->reply(), "");
    silent[1]->send("GET /open");
    EXPECT_EQ(silent[1]->reply(), okReply);
    EXPECT_EQ(Client(helper, "GET /open").reply(), okReply) << "a client that does not close keeps its place";
    helper.there([&] { return helper.later.front().answer("{\"ok\":true}"); });
    EXPECT_EQ(asking.reply(), okReply);
}

TEST(Listener, WaitsWithoutSpinningWhenDescriptorsRanOut) {
    Helper helper;
    Client client;
    const int firstFree = Descriptor(::dup(0)).get();
    const auto files = limitFiles(static_cast<rlim_t>(firstFree));
    const auto before = std::clock();
    client.ask(helper, "GET /open");
    EXPECT_EQ(client.reply(150), "silence");
    EXPECT_LT(std::clock() - before, CLOCKS_PER_SEC / 33);
    limitFiles(files);
    EXPECT_EQ(client.reply(), okReply);
}

}  // namespace
}  // namespace zqm
