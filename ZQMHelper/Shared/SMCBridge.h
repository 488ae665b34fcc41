#pragma once

#include <memory>
#include <mutex>
#include <string_view>

#include "Platform/Apple/Registry.h"
#include "Platform/Platform.h"
#include "Support/Mutex.h"

namespace zqm {

/// The connection to the system management controller. It is opened on first use, once: what fails then is not tried
/// again. Callable from any thread, also for the first use.
class SMCBridge {
public:
    explicit SMCBridge(Platform& platform = Platform::current()) : registry_(platform.registry) {}

    /// Whether the connection is open.
    bool SMCPowerAvailable();
    /// The value of a key of four ASCII characters, usually watts; −1 when it cannot be read or is not of type "flt ".
    double SMCPowerRead(std::string_view key);

private:
    Registry& registry_;
    std::once_flag opened_;
    Mutex calls_;
    std::unique_ptr<UserClient> connection_;
};

}  // namespace zqm
