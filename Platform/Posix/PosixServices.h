#pragma once

#include "Platform/Platform.h"
#include "Platform/Posix/AsioListener.h"
#include "Platform/Posix/AsioMainLoop.h"
#include "Platform/Posix/CurlHttpClient.h"
#include "Platform/Posix/PosixClock.h"
#include "Platform/Posix/PosixCommands.h"
#include "Platform/Posix/PosixFiles.h"
#include "Platform/Posix/ThreadQueues.h"
#include "Platform/UserServices.h"

namespace zqm {

/// The services of the process, the same for every machine, beside those of its user. Made on the main thread.
class PosixServices {
public:
    explicit PosixServices(UserServices& user) : user_(user) {}
    ProcessServices services() { return services(clock); }
    /// The same with another clock.
    ProcessServices services(Clock& anyClock);

    PosixClock clock;

private:
    UserServices& user_;
    PosixFiles files_;
    AsioMainLoop mainLoop_;
    ThreadQueues dispatch_;
    AsioListener listener_;
    PosixCommands commands_;
    CurlHttpClient httpClient_;
};

}  // namespace zqm
