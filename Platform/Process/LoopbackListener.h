#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace zqm {

/// One accepted TCP connection. Dropping the last reference closes it.
///
/// Callbacks run on the listener's thread. `send` and `cancel` are callable from any thread; everything else belongs to
/// the listener's thread.
class Connection {
public:
    virtual ~Connection() = default;
    /// Waits for bytes and delivers what has arrived, at most `maximum`, in one call of `received`: empty when the peer
    /// ended the stream or the connection failed. The bytes are valid during the call only. Called once.
    virtual void receive(std::size_t maximum, std::function<void(std::string_view)> received) = 0;
    /// Sends the whole message and ends the connection in order: the peer receives every byte even when it had sent
    /// more than was read (what it still sends is discarded unread by anyone, within bounds). Called once, nothing
    /// after it.
    virtual void send(std::string message) = 0;
    /// Closes without sending.
    virtual void cancel() = 0;
    /// Whether nobody is there any more to read what `send` would send. Of a peer that has ended its stream only a
    /// write shows whether it still reads: it is sent `beginning`, with which the message must begin, ahead of the
    /// rest.
    virtual bool isGone(std::string_view beginning) = 0;
};

/// Accepts connections. A client that says nothing costs a descriptor, never a thread; when descriptors run short, the
/// client that has been silent longest loses its connection to the next one, never one that has asked. Without silent
/// ones accepting pauses until there are descriptors again. The rest of the process keeps its share.
class Listener {
public:
    virtual ~Listener() = default;
    /// Begins to listen; `accepted` is called on the listener's thread for every connection. Returns the error's
    /// description, or nullopt when it listens. Called once, before anything else uses the listener.
    virtual std::optional<std::string> start(std::uint16_t port,
                                             std::function<void(std::shared_ptr<Connection>)> accepted) = 0;
    /// Runs `task` on the listener's thread, soon; drops it once the listener has stopped. Any thread.
    virtual void post(std::function<void()> task) = 0;
    /// Stops listening, closes every connection and ends the listener's thread. Any thread but the listener's own.
    virtual void stop() = 0;
};

/// One on 127.0.0.1: the only kind that the helper takes, so that nothing can put it on the network by mistake.
class LoopbackListener : public Listener {};

}  // namespace zqm
