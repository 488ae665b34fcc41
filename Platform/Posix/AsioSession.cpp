#include "Platform/Posix/AsioSession.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <asio/buffer.hpp>
#include <asio/post.hpp>
#include <asio/write.hpp>
#include <cerrno>
#include <chrono>
#include <system_error>
#include <utility>

#include "Platform/Posix/PosixProcess.h"

namespace zqm {
namespace {

using namespace std::chrono_literals;

constexpr auto sendTime = 30s;
constexpr auto sweepPeriod = 250ms;
constexpr auto discardTime = 1s - sweepPeriod;  // a session is closed at the first sweep after its time
constexpr std::size_t discardBytes = 1024 * 1024;

constexpr int readsInARow = 64;      // then accepting has its turn
constexpr std::size_t burst = 1000;  // connections at once whose memory is worth giving back
constexpr auto burstPause = 2s;

#if defined(MSG_MORE) && !defined(ZQM_PLAIN_POSIX)
constexpr int plainSend = MSG_DONTWAIT | MSG_NOSIGNAL;
constexpr int lastSend = plainSend | MSG_MORE;  // the end of the stream travels with the last bytes
#else
constexpr int plainSend = MSG_DONTWAIT;
constexpr int lastSend = plainSend;
#endif

bool wouldBlock() {
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
}

}  // namespace

std::shared_ptr<AsioSession> AsioSessions::add(Descriptor descriptor) {
    auto session = std::make_shared<AsioSession>(*this, std::move(descriptor));
    session->place_ = busy_.insert(busy_.end(), session);
    highest_ = std::max(highest_, count());
    return session;
}

bool AsioSessions::closeLongestSilent() {
    // Bytes that have come but were not read yet are not silence.
    const auto longest =
        std::find_if_not(silent_.begin(), silent_.end(), [](const auto& session) { return session->hasBytes(); });
    if (longest == silent_.end()) return false;
    const auto session = *longest;
    session->close();
    return true;
}

void AsioSessions::closeAll() {
    for (List* list : {&silent_, &busy_}) {
        while (!list->empty()) list->front()->close();
    }
}

void AsioSessions::keepSilent(AsioSession& session) {
    if (!addToReadinessSet(readable_.native_handle(), session.number_, &session)) return session.close();
    session.isSilent_ = true;
    silent_.splice(silent_.end(), busy_, session.place_);
    if (!std::exchange(reading_, true)) waitForSilent();
    onRoom_();
}

void AsioSessions::keepBusy(AsioSession& session) {
    if (!std::exchange(session.isSilent_, false)) return;
    removeFromReadinessSet(readable_.native_handle(), session.number_);
    busy_.splice(busy_.end(), silent_, session.place_);
}

void AsioSessions::waitForSilent() {
    readable_.async_wait(asio::posix::descriptor_base::wait_read, [this](std::error_code error) noexcept {
        if (!error) readSilent();
    });
}

void AsioSessions::readSilent() {
    for (int i = 0; i < readsInARow; ++i) {
        auto* const ready = static_cast<AsioSession*>(takeReady(readable_.native_handle()));
        if (!ready) break;
        const auto session = ready->shared_from_this();
        keepBusy(*session);
        session->readOnce();
    }
    waitForSilent();
}

void AsioSessions::remove(const AsioSession& session) {
    busy_.erase(session.place_);
    if (highest_ >= burst && count() < highest_ / 4) giveBackSoon();
    onRoom_();
}

/// Whatever thousands of connections took stays with the process otherwise, long after they have gone.
void AsioSessions::giveBackSoon() {
    if (std::exchange(giving_, true)) return;
    giver_.expires_after(burstPause);
    giver_.async_wait([this](std::error_code error) {
        giving_ = false;
        if (error) return;
        highest_ = count();
        giveBackIdleMemory();
    });
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
    for (auto next = busy_.begin(); next != busy_.end();) {
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
    if (count < 0 && wouldBlock()) return sessions_.keepSilent(*this);
    deliver({sessions_.scratch_.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))});
}

bool AsioSession::hasBytes() const {
    char byte = 0;
    return ::recv(number_, &byte, 1, MSG_DONTWAIT | MSG_PEEK) > 0;
}

/// Hands the descriptor to Asio, which not every connection needs.
void AsioSession::watch() {
    if (socket_.is_open()) return;
    std::error_code error;
    socket_.assign(asio::ip::tcp::v4(), number_, error);
    if (error) return close();
    static_cast<void>(descriptor_.release());
}

void AsioSession::deliver(std::string_view bytes) {
    const auto received = std::exchange(received_, nullptr);
    if (received) received(bytes);
}

bool AsioSession::isGone(std::string_view beginning) {
    if (closed_) return true;
    if (sending_ || !hasEnded()) return false;
    if (sentAhead_ == 0) {
        const auto sent = ::send(number_, beginning.data(), beginning.size(), plainSend);
        sentAhead_ = static_cast<std::size_t>(std::max<ssize_t>(sent, 0));
    }
    // On this machine's own interfaces the reset of a peer that has closed has come back by now.
    pollfd state{number_, 0, 0};
    if (::poll(&state, 1, 0) != 1) return false;
    close();
    return true;
}

void AsioSession::send(std::string message) {
    if (closed_ || std::exchange(sending_, true)) return;
    const auto rest = std::string_view(message).substr(sentAhead_);
    const auto sent = ::send(number_, rest.data(), rest.size(), lastSend);
    if (sent == static_cast<ssize_t>(rest.size())) return finish();
    if (sent < 0 && !wouldBlock()) return close();
    message_ = std::move(message);
    setDeadline(sendTime);
    sendRest(sentAhead_ + static_cast<std::size_t>(std::max<ssize_t>(sent, 0)));
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
    if (closed_) return;
    if (hasEnded()) return close();
    watch();
    if (closed_) return;
    socket_.async_wait(asio::socket_base::wait_read, [self = shared_from_this()](std::error_code error) noexcept {
        if (!error) self->discard();
    });
}

/// Discards what has come since the request; true once the peer has ended its stream or sent too much.
bool AsioSession::hasEnded() {
    while (discarded_ <= discardBytes) {
        const auto count = ::recv(number_, sessions_.scratch_.data(), sessions_.scratch_.size(), MSG_DONTWAIT);
        if (count < 0 && wouldBlock()) return false;
        if (count <= 0) return true;
        discarded_ += static_cast<std::size_t>(count);
    }
    return true;
}

void AsioSession::setDeadline(Clock::duration time) {
    deadline_ = Clock::now() + time;
    sessions_.sweepSoon();
}

void AsioSession::close() {
    if (std::exchange(closed_, true)) return;
    sessions_.keepBusy(*this);
    std::error_code ignored;
    socket_.close(ignored);
    descriptor_.reset();
    const auto dropped = std::exchange(received_, nullptr);  // it may own the handle of this very session
    sessions_.remove(*this);
}

}  // namespace zqm
