#pragma once

#include <pthread.h>

#include <functional>
#include <optional>
#include <string_view>

namespace zqm {

/// Starts a thread that runs `body`, to be joined or detached by the caller; nullopt when the system refuses one,
/// `body` is then gone unrun. The thread takes no signals, so that those sent to the process reach the main thread, and
/// an exception out of `body` ends the process.
std::optional<pthread_t> startThread(std::string_view name, std::function<void()> body);

/// Names the calling thread for whoever looks at the process. The system keeps 15 bytes: the end of a longer name
/// stays.
void nameThisThread(std::string_view name);

}  // namespace zqm
