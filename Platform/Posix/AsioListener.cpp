#include "Platform/Posix/AsioListener.h"

#include <pthread.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <asio/buffer.hpp>
#include <asio/dispatch.hpp>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <asio/write.hpp>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <list>
#include <system_error>
#include <utility>

#include "Platform/Posix/Sockets.h"
#include "Platform/Posix/Threads.h"

namespace zqm {
namespace {

using namespace std::chrono_literals;
using Instant = asio::steady_timer::time_point;

constexpr auto sendTime = 30s;
constexpr auto sweepPeriod = 250ms;
constexpr auto discardTime = 1s - sweepPeriod;  // a session is closed at the first sweep after its time
constexpr std::size_t discardBytes = 1024 * 1024;
constexpr auto shortagePause = 100ms;
constexpr int acceptsInARow = 64;  // then the connections have their turn

#if defined(MSG_MORE)
constexpr int sendFlags = MSG_NOSIGNAL | MSG_MORE;  // the end of the stream travels with the last bytes
#else
constexpr int sendFlags = 0;
#endif

}  // namespace

/// What lives on the listener's thread. Handles keep it alive, so that they may be dropped at any time.
class AsioListener::Core : public std::enable_shared_from_this<Core> {
public:
    /// `listening` may be empty, with `errno` set.
    std::optional<std::string> start(Descriptor listening, std::string_view threadName,
                                     std::function<void(std::shared_ptr<Connection>)> accepted);
    void stop();
    std::uint16_t port() const { return port_; }
    /// Runs `task` on the listener's thread, at once when called there. Not at all after `stop`.
    template <class Task>
    void dispatch(Task task) {
        asio::dispatch(io_, std::move(task));
    }

private:
    friend class Session;

    void waitForConnections();
    void acceptConnections();
    void remove(std::list<std::shared_ptr<Session>>::iterator session);
    void sweepSoon();
    void sweep();

    asio::io_context io_{1};
    asio::ip::tcp::acceptor acceptor_{io_};
    asio::steady_timer shortage_{io_};
    asio::steady_timer sweeper_{io_};
    bool accepting_ = false;  // a wait for connections, or for an end of the shortage, is under way
    bool sweeping_ = false;
    std::size_t limit_ = 1;
    std::function<void(std::shared_ptr<Connection>)> accepted_;
    std::list<std::shared_ptr<Session>> sessions_;  // every open connection
    std::array<char, 64 * 1024> scratch_;           // for bytes that are used or discarded at once
    std::uint16_t port_ = 0;
    std::optional<pthread_t> thread_;
};

/// One open connection; touched by the listener's thread alone.
class AsioListener::Session : public std::enable_shared_from_this<Session> {
public:
    Session(Core& core, Descriptor descriptor)
        : core_(core), socket_(core.io_), descriptor_(std::move(descriptor)), number_(descriptor_.get()) {}

    void receive(std::size_t maximum, std::function<void(std::string_view)> received);
    void send(std::string message);
    void close();
    bool isSending() const { return sending_; }
    Instant deadline() const { return deadline_; }  // while sending

    std::list<std::shared_ptr<Session>>::iterator place;

private:
    void watch();
    void readOnce();
    void deliver(std::string_view bytes);
    void sendRest(std::size_t sent);
    void finish();
    void discard();
    void waitReadable(void (Session::*next)());
    void setDeadline(Instant::duration time);

    Core& core_;
    asio::ip::tcp::socket socket_;  // open once there is something to wait for; then it owns the descriptor
    Descriptor descriptor_;
    const int number_;  // of the descriptor, whoever owns it
    std::function<void(std::string_view)> received_;
    std::size_t maximum_ = 0;
    std::string message_;
    std::size_t discarded_ = 0;
    Instant deadline_;
    bool sending_ = false;
    bool closed_ = false;
};

/// What the listener's user holds of a connection.
class AsioListener::Handle final : public Connection {
public:
    Handle(std::shared_ptr<Core> core, std::weak_ptr<Session> session)
        : core_(std::move(core)), session_(std::move(session)) {}
    ~Handle() override {
        if (!ended_) cancel();
    }
    void receive(std::size_t maximum, std::function<void(std::string_view)> received) override {
        if (auto session = session_.lock()) session->receive(maximum, std::move(received));
    }
    void send(std::string message) override {
        ended_ = true;
        tell([message = std::move(message)](Session& session) mutable { session.send(std::move(message)); });
    }
    void cancel() override {
        ended_ = true;
        tell([](Session& session) { session.close(); });
    }

private:
    template <class Order>
    void tell(Order order) {
        core_->dispatch([session = session_, order = std::move(order)]() mutable noexcept {
            if (auto open = session.lock()) order(*open);
        });
    }

    std::shared_ptr<Core> core_;
    std::weak_ptr<Session> session_;   // the core owns it, so that it ends on the listener's thread
    std::atomic<bool> ended_ = false;  // `send` and `cancel` may meet
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
    while (!sessions_.empty()) sessions_.front()->close();
    accepted_ = nullptr;
}

void AsioListener::Core::waitForConnections() {
    accepting_ = sessions_.size() < limit_;  // else until one of them closes
    if (!accepting_) return;
    acceptor_.async_wait(asio::socket_base::wait_read, [this](std::error_code error) {
        if (!error) acceptConnections();
    });
}

void AsioListener::Core::acceptConnections() {
    for (int i = 0; i < acceptsInARow && sessions_.size() < limit_; ++i) {
        auto descriptor = acceptConnection(acceptor_.native_handle());
        if (!descriptor) {
            if (errno == ECONNABORTED || errno == EINTR) continue;
            if (errno == EAGAIN || errno == EWOULDBLOCK) break;
            // Out of descriptors or memory: the connection stays in the queue, and asking again at once would spin.
            shortage_.expires_after(shortagePause);
            shortage_.async_wait([this](std::error_code error) {
                if (!error) acceptConnections();
            });
            return;
        }
        auto session = std::make_shared<Session>(*this, std::move(descriptor));
        session->place = sessions_.insert(sessions_.end(), session);
        accepted_(std::make_shared<Handle>(shared_from_this(), session));
    }
    waitForConnections();
}

void AsioListener::Core::remove(std::list<std::shared_ptr<Session>>::iterator session) {
    sessions_.erase(session);
    if (!accepting_) waitForConnections();
}

void AsioListener::Core::sweepSoon() {
    if (std::exchange(sweeping_, true)) return;
    sweeper_.expires_after(sweepPeriod);
    sweeper_.async_wait([this](std::error_code error) {
        if (!error) sweep();
    });
}

void AsioListener::Core::sweep() {
    sweeping_ = false;
    const Instant now = asio::steady_timer::clock_type::now();
    for (auto next = sessions_.begin(); next != sessions_.end();) {
        const auto session = *next++;
        if (!session->isSending()) continue;
        if (session->deadline() <= now) {
            session->close();
        } else {
            sweepSoon();
        }
    }
}

void AsioListener::Session::receive(std::size_t maximum, std::function<void(std::string_view)> received) {
    maximum_ = std::min(maximum, core_.scratch_.size());
    received_ = std::move(received);
    // After the other connections have been accepted: by then the bytes are often there.
    asio::post(core_.io_, [self = shared_from_this()]() noexcept { self->readOnce(); });
}

void AsioListener::Session::readOnce() {
    if (closed_) return;
    const auto count = ::recv(number_, core_.scratch_.data(), maximum_, MSG_DONTWAIT);
    if (count >= 0) return deliver({core_.scratch_.data(), static_cast<std::size_t>(count)});
    if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) return deliver({});
    waitReadable(&Session::readOnce);
}

/// Hands the descriptor to Asio, which not every connection needs.
void AsioListener::Session::watch() {
    if (closed_ || socket_.is_open()) return;
    std::error_code error;
    socket_.assign(asio::ip::tcp::v4(), number_, error);
    if (error) return close();
    static_cast<void>(descriptor_.release());
}

void AsioListener::Session::deliver(std::string_view bytes) {
    const auto received = std::exchange(received_, nullptr);
    if (received) received(bytes);
}

void AsioListener::Session::send(std::string message) {
    if (closed_ || std::exchange(sending_, true)) return;
    const auto sent = ::send(number_, message.data(), message.size(), MSG_DONTWAIT | sendFlags);
    if (sent == static_cast<ssize_t>(message.size())) return finish();
    if (sent < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) return close();
    message_ = std::move(message);
    setDeadline(sendTime);
    sendRest(sent > 0 ? static_cast<std::size_t>(sent) : 0);
}

void AsioListener::Session::sendRest(std::size_t sent) {
    watch();
    if (closed_) return;
    asio::async_write(socket_, asio::buffer(message_) + sent,
                      [self = shared_from_this()](std::error_code error, std::size_t) noexcept {
                          self->message_ = {};
                          error ? self->close() : self->finish();
                      });
}

/// Ends the stream. The descriptor stays open until the peer has ended it too: closing while bytes of the peer wait
/// unread would make the kernel answer with a reset, which throws away what the peer has not read yet.
void AsioListener::Session::finish() {
    if (closed_) return;
    ::shutdown(number_, SHUT_WR);
    setDeadline(discardTime);
    // After the other connections: by then the peer has often closed, and there is nothing to wait for.
    asio::post(core_.io_, [self = shared_from_this()]() noexcept { self->discard(); });
}

void AsioListener::Session::discard() {
    while (!closed_) {
        const auto count = ::recv(number_, core_.scratch_.data(), core_.scratch_.size(), MSG_DONTWAIT);
        if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) break;
        if (count > 0) discarded_ += static_cast<std::size_t>(count);
        if (count <= 0 || discarded_ > discardBytes) return close();
    }
    waitReadable(&Session::discard);
}

void AsioListener::Session::waitReadable(void (Session::*next)()) {
    watch();
    if (closed_) return;
    socket_.async_wait(asio::socket_base::wait_read, [self = shared_from_this(), next](std::error_code error) noexcept {
        if (!error) ((*self).*next)();
    });
}

void AsioListener::Session::setDeadline(Instant::duration time) {
    deadline_ = asio::steady_timer::clock_type::now() + time;
    core_.sweepSoon();
}

void AsioListener::Session::close() {
    if (std::exchange(closed_, true)) return;
    std::error_code ignored;
    socket_.close(ignored);
    descriptor_.reset();
    const auto dropped = std::exchange(received_, nullptr);  // it may own the handle of this very session
    core_.remove(place);
}

AsioListener::AsioListener() : core_(std::make_shared<Core>()) {}

AsioListener::~AsioListener() {
    stop();
}

std::optional<std::string> AsioListener::start(std::uint16_t port,
                                               std::function<void(std::shared_ptr<Connection>)> accepted) {
    return core_->start(listenOnLoopback(port), "zqm.helper.http", std::move(accepted));
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

void AsioNetworkListener::stop() {
    core_->stop();
}

std::uint16_t AsioNetworkListener::port() const {
    return core_->port();
}

}  // namespace zqm
