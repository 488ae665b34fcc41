#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <atomic>
#include <filesystem>
#include <future>
#include <random>

#include "Platform/Posix/AsioListener.h"
#include "Platform/Posix/Descriptor.h"
#include "Platform/Posix/PosixProcess.h"
#include "Platform/Posix/ThreadQueues.h"
#include "Platform/Process/Log.h"
#include "Support/Mutex.h"
#include "ZQMHelper/HTTPServer.h"
#include "tests/fakes/FakePlatform.h"

namespace zqm {
namespace {

const std::string okReply = okResponse("{\"ok\":true}");

class KeptLog final : public Log {
public:
    void print(std::string_view line) override { keep(line); }
    void system(std::string_view line) override { keep(line); }
    std::vector<std::string> lines() {
        MutexLock lock(mutex_);
        return lines_;
    }

private:
    void keep(std::string_view line) {
        MutexLock lock(mutex_);
        lines_.emplace_back(line);
    }
    Mutex mutex_;
    std::vector<std::string> lines_ ZQM_GUARDED_BY(mutex_);
};

/// The server on real sockets and threads. "/slow" waits for the gate, after it has said so.
struct Helper {
    Helper() {
        server->port = 0;
        server->routes["/open"] = {std::nullopt, [] { return "{\"ok\":true}"; }, false};
        server->routes["/large"] = {std::nullopt, [] { return std::string(8 << 20, 'x'); }, false};
        server->routes["/slow"] = {std::nullopt, [this] {
                                       if (--slowOnes == 0) allArrived.set_value();
                                       opened.wait();
                                       return "{\"ok\":true}";
                                   }};
    }
    void start() {
        server->start();
        ASSERT_NE(server->listener, nullptr);
    }

    std::promise<void> allArrived;
    std::atomic<int> slowOnes{1};
    std::promise<void> gate;
    std::shared_future<void> opened{gate.get_future()};
    ThreadQueues queues;
    AsioListener listener;
    KeptLog log;
    FakePlatform fakes;
    Platform platform = fakes.with(queues, listener, log);
    std::unique_ptr<HTTPServer> server = std::make_unique<HTTPServer>(platform);
};

class Client {
public:
    explicit Client(std::uint16_t port) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)), port_(port) {
        connect();
    }
    Client(std::uint16_t port, std::string_view request) : Client(port) { send(request); }
    struct Later {};
    Client(std::uint16_t port, Later) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)), port_(port) {}

    void connect() {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port_);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(::connect(socket_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        patience(30000);
    }
    void patience(int milliseconds) {
        const timeval time{milliseconds / 1000, milliseconds % 1000 * 1000};
        ::setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time);
    }
    void send(std::string_view bytes) {
        EXPECT_EQ(::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    }
    void endSending() { ::shutdown(socket_.get(), SHUT_WR); }
    /// Everything up to the end of the stream; "reset" or "silence" when it does not come.
    std::string reply() {
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
    std::uint16_t port_;
};

std::string askOpen(const Helper& helper) {
    return Client(helper.listener.port(), "GET /open HTTP/1.1\r\n\r\n").reply();
}

std::ptrdiff_t threadCount() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

/// Changes how many files the process may open until the end of the scope.
class FileLimit {
public:
    FileLimit() { ::getrlimit(RLIMIT_NOFILE, &previous_); }
    ~FileLimit() { restore(); }
    void set(rlim_t files) {
        const rlimit limit{files, previous_.rlim_max};
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
    }
    void restore() { ::setrlimit(RLIMIT_NOFILE, &previous_); }

private:
    rlimit previous_{};
};

TEST(Listener, AnswersWholeWhateverElseTheClientSends) {
    Helper helper;
    helper.start();
    const std::string extra(100 * 1024, 'y');
    EXPECT_EQ(Client(helper.listener.port(), "GET /open HTTP/1.1\r\n\r\n" + extra).reply(), okReply);
    Client large(helper.listener.port(), "GET /large\r\n" + extra);
    large.send(extra);
    EXPECT_EQ(large.reply(), okResponse(std::string(8 << 20, 'x')));
}

TEST(Listener, JudgesTheFirstReadAndLogsTwoLines) {
    Helper helper;
    helper.start();
    Client halved(helper.listener.port(), "GET /open HTTP/1.1\r\n");
    EXPECT_EQ(halved.reply(), okReply);
    Client silent(helper.listener.port());
    silent.endSending();
    EXPECT_EQ(silent.reply(), "");
    const std::vector<std::string> expected{"[ZQMHelper] connection received", "[ZQMHelper] data received: 20 bytes",
                                            "[ZQMHelper] connection received", "[ZQMHelper] data received: 0 bytes"};
    EXPECT_EQ(helper.log.lines(), expected);
}

TEST(Listener, SurvivesAnyBytes) {
    Helper helper;
    helper.start();
    std::minstd_rand random(1);
    for (int i = 0; i < 200; ++i) {
        std::string bytes(random() % 300 + 1, '\0');
        for (char& byte : bytes) byte = static_cast<char>(random());
        Client client(helper.listener.port(), (i % 2 ? "GET /" : "") + bytes);
        if (i % 3 == 0) continue;  // gone without reading
        client.endSending();
        const auto reply = client.reply();
        EXPECT_TRUE(reply.empty() || reply == fixedResponse(Verdict::Kind::notFound)) << reply;
    }
    EXPECT_EQ(askOpen(helper), okReply);
}

TEST(Listener, SilentClientsCostNoThread) {
    raiseDescriptorLimit();
    Helper helper;
    helper.start();
    EXPECT_EQ(askOpen(helper), okReply);
    const auto threads = threadCount();
    std::vector<std::unique_ptr<Client>> silent;
    for (int i = 0; i < 1000; ++i) silent.push_back(std::make_unique<Client>(helper.listener.port()));
    EXPECT_EQ(askOpen(helper), okReply);
    EXPECT_EQ(threadCount(), threads);
    silent.front()->send("GET /open");
    EXPECT_EQ(silent.front()->reply(), okReply);
    helper.listener.stop();
    EXPECT_EQ(silent.back()->reply(), "");  // closed in order
}

TEST(Listener, BlockedHandlersDelayNobodyElse) {
    Helper helper;
    helper.start();
    helper.slowOnes = HTTPServer::handlerWidth;
    std::vector<std::unique_ptr<Client>> slow;
    for (unsigned i = 0; i < HTTPServer::handlerWidth + 3; ++i) {
        slow.push_back(std::make_unique<Client>(helper.listener.port(), "GET /slow"));
    }
    helper.allArrived.get_future().wait();
    EXPECT_EQ(askOpen(helper), okReply);
    helper.slowOnes = -1;  // the three that waited find the gate open
    helper.gate.set_value();
    for (auto& client : slow) EXPECT_EQ(client->reply(), okReply);
}

TEST(Listener, TheServerMayGoWhileAHandlerRuns) {
    Helper helper;
    helper.start();
    Client client(helper.listener.port(), "GET /slow");
    helper.allArrived.get_future().wait();
    std::atomic<bool> released{false};
    auto opener = std::async(std::launch::async, [&] {
        const auto reply = client.reply();  // ends when the server lets go of the connection
        released = true;
        helper.gate.set_value();
        return reply;
    });
    helper.server.reset();
    EXPECT_TRUE(released) << "did not wait for the handler";
    EXPECT_EQ(opener.get(), "");
}

TEST(Listener, APortIsTakenOverAtOnceButNotShared) {
    Helper helper;
    helper.start();
    const auto port = helper.listener.port();
    EXPECT_EQ(askOpen(helper), okReply);  // leaves a connection lingering in the kernel
    Helper second;
    second.server->port = port;
    second.server->start();
    EXPECT_EQ(second.server->listener, nullptr);
    EXPECT_EQ(second.log.lines(), std::vector<std::string>{"[ZQMHelper] listener failed: Address already in use"});
    helper.server.reset();
    Helper third;
    third.server->port = port;
    third.start();
    EXPECT_EQ(askOpen(third), okReply);
}

TEST(Listener, LeavesDescriptorsToTheRestOfTheProcess) {
    FileLimit files;
    files.set(128);  // 64 of them for connections
    Helper helper;
    helper.start();
    files.restore();
    std::vector<std::unique_ptr<Client>> silent;
    for (int i = 0; i < 64; ++i) silent.push_back(std::make_unique<Client>(helper.listener.port()));
    Client waiting(helper.listener.port(), "GET /open");
    waiting.patience(100);
    EXPECT_EQ(waiting.reply(), "silence");
    silent.pop_back();
    waiting.patience(30000);
    EXPECT_EQ(waiting.reply(), okReply);
}

TEST(Listener, RecoversWhenDescriptorsRanOut) {
    Helper helper;
    helper.start();
    Client client(helper.listener.port(), Client::Later{});
    FileLimit files;
    {
        const Descriptor next(::dup(0));
        files.set(static_cast<rlim_t>(next.get()));
    }
    client.connect();
    client.send("GET /open");
    client.patience(150);
    EXPECT_EQ(client.reply(), "silence");
    files.restore();
    client.patience(30000);
    EXPECT_EQ(client.reply(), okReply);
}

}  // namespace
}  // namespace zqm
