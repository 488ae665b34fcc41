#pragma once

#include <signal.h>

#include <array>
#include <optional>

#include "Client/Watch/WakePipe.h"

namespace zqm {

/// Makes the signals that a terminal program meets events of a descriptor, for as long as this lives. One at a time;
/// made before the terminal is touched.
class Signals {
public:
    enum class Event : char { end, resize, suspend, resume };

    Signals();
    ~Signals();
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;

    int descriptor() const { return pipe_.readEnd(); }
    std::optional<Event> next();

    /// Stops the process as SIGTSTP does by itself; returns when it goes on.
    void stop();

private:
    static constexpr std::array handled{SIGHUP,  SIGINT,  SIGQUIT,  SIGTERM, SIGUSR1, SIGUSR2,
                                        SIGXCPU, SIGALRM, SIGWINCH, SIGTSTP, SIGCONT};
    WakePipe pipe_;
    std::array<struct sigaction, handled.size()> before_{};
};

}  // namespace zqm
