#pragma once

#include <string>
#include <vector>

#include "Platform/Platform.h"
#include "Platform/Posix/AsioListener.h"
#include "Platform/Posix/AsioMainLoop.h"
#include "Platform/Posix/CurlHttpClient.h"
#include "Platform/Posix/JsonUserDefaults.h"
#include "Platform/Posix/PosixClock.h"
#include "Platform/Posix/PosixCommands.h"
#include "Platform/Posix/PosixFiles.h"
#include "Platform/Posix/PosixLog.h"
#include "Platform/Posix/PosixSettings.h"
#include "Platform/Posix/ThreadQueues.h"

namespace zqm {

/// The services of the user and the process, the same for every machine. Made on the main thread.
class PosixServices {
public:
    ProcessServices services() { return services(clock); }
    /// The same with another clock.
    ProcessServices services(Clock& anyClock);

    /// What the file of preferences holds and cannot be used, a line each.
    const std::vector<std::string>& preferenceProblems() const { return userDefaults_.problems(); }

    PosixClock clock;

private:
    PosixFiles files_;
    JsonUserDefaults userDefaults_{files_, JsonUserDefaults::standardFile()};
    PosixSettings systemSettings_;
    PosixLog log_;
    AsioMainLoop mainLoop_;
    ThreadQueues dispatch_;
    AsioListener listener_;
    PosixCommands commands_;
    CurlHttpClient httpClient_;
};

}  // namespace zqm
