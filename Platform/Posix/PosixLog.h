#pragma once

#include <unistd.h>

#include <string>

#include "Platform/Posix/Descriptor.h"
#include "Platform/Process/Log.h"
#include "Support/Mutex.h"

namespace zqm {

/// Lines to a descriptor and datagrams to the system log's socket.
///
/// A printed line is written whole or not at all; one longer than a pipe takes at once is cut. While nobody serves the
/// socket, connecting is tried every five seconds at most.
class PosixLog final : public Log {
public:
    explicit PosixLog(int output = STDOUT_FILENO, std::string systemLog = "/dev/log");
    void print(std::string_view line) override;
    void system(std::string_view line) override;

private:
    bool connect() ZQM_REQUIRES(systemLock_);

    const int output_;
    const std::string systemLog_;
    Mutex printLock_;  // between looking whether a line fits and writing it
    Mutex systemLock_;
    Descriptor socket_ ZQM_GUARDED_BY(systemLock_);
};

}  // namespace zqm
