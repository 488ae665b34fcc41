#pragma once

#include <array>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <asio/steady_timer.hpp>
#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <string_view>

#include "Platform/Posix/Descriptor.h"
#include "Platform/Posix/ReadinessSet.h"

namespace zqm {

class AsioSession;

/// The open connections of one listener and what they share. Touched by the listener's thread alone, on which
/// `context` runs its handlers.
class AsioSessions {
public:
    /// `onRoom` is called after each connection that has closed or that has turned out to be silent.
    AsioSessions(asio::io_context& context, std::function<void()> onRoom)
        : context_(context), onRoom_(std::move(onRoom)) {
        std::error_code ignored;
        readable_.assign(openReadinessSet().release(), ignored);
    }

    std::shared_ptr<AsioSession> add(Descriptor descriptor);
    std::size_t count() const { return busy_.size() + silent_.size(); }
    bool hasSilent() const { return !silent_.empty(); }
    /// Closes the connection whose client has been silent longest; false when all have said something.
    bool closeLongestSilent();
    void closeAll();

private:
    friend class AsioSession;
    using List = std::list<std::shared_ptr<AsioSession>>;

    void keepSilent(AsioSession& session);
    void keepBusy(AsioSession& session);
    void waitForSilent();
    void readSilent();
    void remove(const AsioSession& session);
    void giveBackSoon();
    void sweepSoon();
    void sweep();

    asio::io_context& context_;
    const std::function<void()> onRoom_;
    List busy_;    // not read yet, being answered, or closing
    List silent_;  // nothing has come yet; the one that has been silent longest in front
    asio::posix::stream_descriptor readable_{context_};  // while one of the silent ones is
    bool reading_ = false;
    asio::steady_timer sweeper_{context_};
    bool sweeping_ = false;
    asio::steady_timer giver_{context_};
    bool giving_ = false;
    std::size_t highest_ = 0;              // connections at once since memory was given back
    std::array<char, 64 * 1024> scratch_;  // for bytes that are used or discarded at once
};

/// One open connection: receives once, then sends once and closes in order. Touched by the listener's thread alone.
class AsioSession : public std::enable_shared_from_this<AsioSession> {
public:
    AsioSession(AsioSessions& sessions, Descriptor descriptor);

    void receive(std::size_t maximum, std::function<void(std::string_view)> received);
    bool isGone(std::string_view beginning);
    void send(std::string message);
    void close();

private:
    friend class AsioSessions;
    using Clock = asio::steady_timer::clock_type;

    void watch();
    bool hasBytes() const;
    bool hasEnded();
    void readOnce();
    void deliver(std::string_view bytes);
    void sendRest(std::size_t sent);
    void finish();
    void discard();
    void setDeadline(Clock::duration time);

    AsioSessions& sessions_;
    AsioSessions::List::iterator place_;
    bool isSilent_ = false;         // which of the lists that is in
    asio::ip::tcp::socket socket_;  // open once there is something to wait for; then it owns the descriptor
    Descriptor descriptor_;
    const int number_;  // of the descriptor, whoever owns it
    std::function<void(std::string_view)> received_;
    std::size_t maximum_ = 0;
    std::string message_;
    std::size_t sentAhead_ = 0;  // bytes of the message that `isGone` has sent
    std::size_t discarded_ = 0;
    Clock::time_point deadline_;  // while sending
    bool sending_ = false;
    bool closed_ = false;
};

}  // namespace zqm
