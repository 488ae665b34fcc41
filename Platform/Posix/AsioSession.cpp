#include "Platform/Posix/AsioSession.h"

#include <sys/socket.h>

#include <algorithm>
#include <asio/buffer.hpp>
#include <asio/post.hpp>
#include <asio/write.hpp>
#include <cerrno>
#include <chrono>
#include <system_error>
#include <utility>

namespace zqm {
namespace {

using namespace std::chrono_literals;

constexpr auto sendTime = 30s;
constexpr auto sweepPeriod = 250ms;
constexpr auto discardTime = 1s - sweepPeriod;  // a session is closed at the first sweep after its time
constexpr std::size_t discardBytes = 1024 * 1024;

#if defined(MSG_MORE)
constexpr int sendFlags = MSG_NOSIGNAL | MSG_MORE;  // the end of the stream travels with the last bytes
#else
constexpr int sendFlags = 0;
#endif

}  // namespace

std::shared_ptr<AsioSession> AsioSessions::add(Descriptor descriptor) {
    auto session = std::make_shared<AsioSession>(*this, std::move(descriptor));
    session->place_ = open_.insert(open_.end(), session);
    return session;
}

void AsioSessions::closeAll() {
    while (!open_.empty()) open_.front()->close();
}

void AsioSessions::remove(std::list<std::shared_ptr<AsioSession>>::iterator session) {
    open_.erase(session);
    onClosed_();
}

void AsioSessions::sweepSoon() {
    if (std::exchange(sweeping_, true)) return;
    sweeper_.expires_after(sweepPeriod);
    sweeper_.async_wait([this](std::error_code error) {
        if (!error) sweep();
    });
}

void AsioSessions::sweep() {
    sweeping_ = false;
    const auto now = AsioSession::Clock::now();
    for (auto next = open_.begin(); next != open_.end();) {
        const auto session = *next++;
        if (!session->sending_) continue;
        if (session->deadline_ <= now) {
            session->close();
        } else {
            sweepSoon();
        }
    }
}

AsioSession::AsioSession(AsioSessions& sessions, Descriptor descriptor)
    : sessions_(sessions), socket_(sessions.context_), descriptor_(std::move(descriptor)), number_(descriptor_.get()) {}

void AsioSession::receive(std::size_t maximum, std::function<void(std::string_view)> received) {
    maximum_ = std::min(maximum, sessions_.scratch_.size());
    received_ = std::move(received);
    // After the other connections have been accepted: by then the bytes are often there.
    asio::post(sessions_.context_, [self = shared_from_this()]() noexcept { self->readOnce(); });
}

void AsioSession::readOnce() {
    if (closed_) return;
    const auto count = ::recv(number_, sessions_.scratch_.data(), maximum_, MSG_DONTWAIT);
    if (count >= 0) return deliver({sessions_.scratch_.data(), static_cast<std::size_t>(count)});
    if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) return deliver({});
    waitReadable(&AsioSession::readOnce);
}

/// Hands the descriptor to Asio, which not every connection needs.
void AsioSession::watch() {
    if (closed_ || socket_.is_open()) return;
    std::error_code error;
    socket_.assign(asio::ip::tcp::v4(), number_, error);
    if (error) return close();
    static_cast<void>(descriptor_.release());
}

void AsioSession::deliver(std::string_view bytes) {
    const auto received = std::exchange(received_, nullptr);
    if (received) received(bytes);
}

void AsioSession::send(std::string message) {
    if (closed_ || std::exchange(sending_, true)) return;
    const auto sent = ::send(number_, message.data(), message.size(), MSG_DONTWAIT | sendFlags);
    if (sent == static_cast<ssize_t>(message.size())) return finish();
    if (sent < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) return close();
    message_ = std::move(message);
    setDeadline(sendTime);
    sendRest(sent > 0 ? static_cast<std::size_t>(sent) : 0);
}

void AsioSession::sendRest(std::size_t sent) {
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
void AsioSession::finish() {
    if (closed_) return;
    ::shutdown(number_, SHUT_WR);
    setDeadline(discardTime);
    // After the other connections: by then the peer has often closed, and there is nothing to wait for.
    asio::post(sessions_.context_, [self = shared_from_this()]() noexcept { self->discard(); });
}

void AsioSession::discard() {
    while (!closed_) {
        const auto count = ::recv(number_, sessions_.scratch_.data(), sessions_.scratch_.size(), MSG_DONTWAIT);
        if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) break;
        if (count > 0) discarded_ += static_cast<std::size_t>(count);
        if (count <= 0 || discarded_ > discardBytes) return close();
    }
    waitReadable(&AsioSession::discard);
}

void AsioSession::waitReadable(void (AsioSession::*next)()) {
    watch();
    if (closed_) return;
    socket_.async_wait(asio::socket_base::wait_read, [self = shared_from_this(), next](std::error_code error) noexcept {
        if (!error) ((*self).*next)();
    });
}

void AsioSession::setDeadline(Clock::duration time) {
    deadline_ = Clock::now() + time;
    sessions_.sweepSoon();
}

void AsioSession::close() {
    if (std::exchange(closed_, true)) return;
    std::error_code ignored;
    socket_.close(ignored);
    descriptor_.reset();
    const auto dropped = std::exchange(received_, nullptr);  // it may own the handle of this very session
    sessions_.remove(place_);
}

}  // namespace zqm
