#include "Platform/Posix/AsioListener.h"

#include <pthread.h>

#include <asio/dispatch.hpp>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <system_error>
#include <utility>

#include "Platform/Posix/AsioSession.h"
#include "Platform/Posix/Sockets.h"
#include "Platform/Posix/Threads.h"

namespace zqm {
namespace {

using namespace std::chrono_literals;

constexpr auto shortagePause = 100ms;
constexpr int acceptsInARow = 64;  // then the connections have their turn

}  // namespace

/// What lives on the listener's thread. Handles keep it alive, so that they may be dropped at any time.
class AsioListener::Core : public std::enable_shared_from_this<Core> {
public:
    /// `listening` may be empty, with `errno` set.
    std::optional<std::string> start(Descriptor listening, std::string_view threadName,
                                     std::function<void(std::shared_ptr<Connection>)> accepted);
    void stop();
    std::uint16_t port() const { return port_; }
    void post(std::function<void()> task) {
        asio::post(io_, [task = std::move(task)]() noexcept { task(); });
    }
    /// Runs `task` on the listener's thread, at once when called there. Not at all after `stop`.
    template <class Task>
    void dispatch(Task task) {
        asio::dispatch(io_, std::move(task));
    }

private:
    /// At the limit one more is accepted before a silent one makes room, so that none has to without need.
    bool canAccept() const {
        return sessions_.count() < limit_ || (sessions_.count() == limit_ && sessions_.hasSilent());
    }
    void waitForConnections();
    void acceptConnections();

    asio::io_context io_{1};
    asio::ip::tcp::acceptor acceptor_{io_};
    asio::steady_timer shortage_{io_};
    bool accepting_ = false;  // a wait for connections, or for an end of the shortage, is under way
    std::size_t limit_ = 1;
    std::function<void(std::shared_ptr<Connection>)> accepted_;
    AsioSessions sessions_{io_, [this] {
                               if (!accepting_) waitForConnections();
                           }};
    std::uint16_t port_ = 0;
    std::optional<pthread_t> thread_;
};

/// What the listener's user holds of a connection.
class AsioListener::Handle final : public Connection {
public:
    Handle(std::shared_ptr<Core> core, std::weak_ptr<AsioSession> session)
        : core_(std::move(core)), session_(std::move(session)) {}
    ~Handle() override {
        if (!ended_) cancel();
    }
    void receive(std::size_t maximum, std::function<void(std::string_view)> received) override {
        if (auto session = session_.lock()) session->receive(maximum, std::move(received));
    }
    void send(std::string message) override {
        ended_ = true;
        tell([message = std::move(message)](AsioSession& session) mutable { session.send(std::move(message)); });
    }
    void cancel() override {
        ended_ = true;
        tell([](AsioSession& session) { session.close(); });
    }
    bool isGone(std::string_view beginning) override {
        const auto session = session_.lock();
        return !session || session->isGone(beginning);
    }

private:
    template <class Order>
    void tell(Order order) {
        core_->dispatch([session = session_, order = std::move(order)]() mutable noexcept {
            if (auto open = session.lock()) order(*open);
        });
    }

    std::shared_ptr<Core> core_;
    std::weak_ptr<AsioSession> session_;  // the core owns it, so that it ends on the listener's thread
    std::atomic<bool> ended_ = false;     // `send` and `cancel` may meet
};

std::optional<std::string> AsioListener::Core::start(Descriptor listening, std::string_view threadName,
                                                     std::function<void(std::shared_ptr<Connection>)> accepted) {
    if (!listening) return std::generic_category().message(errno);
    std::error_code error;
    acceptor_.assign(asio::ip::tcp::v4(), listening.get(), error);
    if (error) return error.message();
    port_ = boundPort(listening.release());
    limit_ = connectionLimit();
    accepted_ = std::move(accepted);
    waitForConnections();
    thread_ = startThread(threadName, [this] {
        const asio::executor_work_guard<asio::io_context::executor_type> work(io_.get_executor());
        io_.run();
    });
    if (thread_) return std::nullopt;
    acceptor_.close(error);
    port_ = 0;
    return std::generic_category().message(EAGAIN);
}

void AsioListener::Core::stop() {
    if (!thread_) return;
    io_.stop();
    pthread_join(*thread_, nullptr);
    thread_.reset();
    accepting_ = true;  // from here on nothing waits for connections
    std::error_code ignored;
    acceptor_.close(ignored);
    sessions_.closeAll();
    accepted_ = nullptr;
}

void AsioListener::Core::waitForConnections() {
    accepting_ = canAccept();  // else until one of them closes or turns out to be silent
    if (!accepting_) return;
    acceptor_.async_wait(asio::socket_base::wait_read, [this](std::error_code error) {
        if (!error) acceptConnections();
    });
}

void AsioListener::Core::acceptConnections() {
    for (int i = 0; i < acceptsInARow && canAccept(); ++i) {
        auto descriptor = acceptConnection(acceptor_.native_handle());
        if (!descriptor) {
            if (errno == ECONNABORTED || errno == EINTR) continue;
            if (errno == EAGAIN || errno == EWOULDBLOCK) break;
            // Out of descriptors or memory. The connection stays in the queue, and asking again at once would spin.
            if (sessions_.closeLongestSilent()) continue;
            shortage_.expires_after(shortagePause);
            shortage_.async_wait([this](std::error_code error) {
                if (!error) acceptConnections();
            });
            return;
        }
        accepted_(std::make_shared<Handle>(shared_from_this(), sessions_.add(std::move(descriptor))));
        if (sessions_.count() > limit_) sessions_.closeLongestSilent();
    }
    waitForConnections();
}

AsioListener::AsioListener() : core_(std::make_shared<Core>()) {}

AsioListener::~AsioListener() {
    stop();
}

std::optional<std::string> AsioListener::start(std::uint16_t port,
                                               std::function<void(std::shared_ptr<Connection>)> accepted) {
    return core_->start(listenOnLoopback(port), "zqm.helper.http", std::move(accepted));
}

void AsioListener::post(std::function<void()> task) {
    core_->post(std::move(task));
}

void AsioListener::stop() {
    core_->stop();
}

std::uint16_t AsioListener::port() const {
    return core_->port();
}

AsioNetworkListener::AsioNetworkListener(std::string address)
    : address_(std::move(address)), core_(std::make_shared<AsioListener::Core>()) {}

AsioNetworkListener::~AsioNetworkListener() {
    stop();
}

std::optional<std::string> AsioNetworkListener::start(std::uint16_t port,
                                                      std::function<void(std::shared_ptr<Connection>)> accepted) {
    return core_->start(listenOn(address_, port), "zqm.http", std::move(accepted));
}

void AsioNetworkListener::post(std::function<void()> task) {
    core_->post(std::move(task));
}

void AsioNetworkListener::stop() {
    core_->stop();
}

std::uint16_t AsioNetworkListener::port() const {
    return core_->port();
}

}  // namespace zqm
