#pragma once

#include <memory>

#include "Platform/Process/LoopbackListener.h"

namespace zqm {

/// The listener of the helper over Asio, on a thread of its own named "zqm.helper.http".
///
/// Closing in order is bounded: a peer that does not take its message is dropped after 30 seconds, and what it still
/// sends after the message is discarded for one second and 1 MiB at most.
class AsioListener final : public LoopbackListener {
public:
    AsioListener();
    ~AsioListener() override;
    std::optional<std::string> start(std::uint16_t port,
                                     std::function<void(std::shared_ptr<Connection>)> accepted) override;
    void post(std::function<void()> task) override;
    void stop() override;
    /// The port listened on, which the system chooses when `start` is asked for port 0; 0 while not listening.
    std::uint16_t port() const;

private:
    friend class AsioNetworkListener;
    class Core;
    class Handle;
    std::shared_ptr<Core> core_;
};

/// The same on any one numeric address of this machine ("0.0.0.0" and "::" are all of them), for programs that are
/// there to be asked from elsewhere. Its thread is named "zqm.http".
class AsioNetworkListener final : public Listener {
public:
    explicit AsioNetworkListener(std::string address);
    ~AsioNetworkListener() override;
    std::optional<std::string> start(std::uint16_t port,
                                     std::function<void(std::shared_ptr<Connection>)> accepted) override;
    void post(std::function<void()> task) override;
    void stop() override;
    std::uint16_t port() const;

private:
    const std::string address_;
    std::shared_ptr<AsioListener::Core> core_;
};

}  // namespace zqm
