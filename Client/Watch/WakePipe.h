#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <optional>
#include <system_error>

namespace zqm {

/// Small events for a thread that waits with poll(), from a signal's handler or another thread. Neither end ever
/// blocks; events beyond what a pipe holds are lost.
class WakePipe {
public:
    WakePipe() {
        if (::pipe(ends_.data()) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
        for (const int end : ends_) {
            ::fcntl(end, F_SETFL, O_NONBLOCK);
            ::fcntl(end, F_SETFD, FD_CLOEXEC);
        }
    }
    ~WakePipe() {
        for (const int end : ends_) ::close(end);
    }
    WakePipe(const WakePipe&) = delete;
    WakePipe& operator=(const WakePipe&) = delete;

    int readEnd() const { return ends_[0]; }
    int writeEnd() const { return ends_[1]; }
    void put(char event) { static_cast<void>(!::write(ends_[1], &event, 1)); }
    std::optional<char> take() {
        char event = 0;
        return ::read(ends_[0], &event, 1) == 1 ? std::optional(event) : std::nullopt;
    }

private:
    std::array<int, 2> ends_{};
};

}  // namespace zqm
