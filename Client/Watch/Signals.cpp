#include "Client/Watch/Signals.h"

#include <termios.h>

#include <cerrno>

#include "Client/ExitStatus.h"

namespace zqm {
namespace {

constexpr unsigned patience = 2;  // seconds for giving the terminal back

// For the handlers. Set before these are installed.
int eventPipe = -1;
termios terminalBefore{};
bool isTerminalKnown = false;

void put(Signals::Event event) {
    const int error = errno;
    static_cast<void>(!::write(eventPipe, &event, 1));
    errno = error;
}

void end(int) {
    ::alarm(patience);
    put(Signals::Event::end);
}

/// The terminal takes nothing any more, so the main thread waits in vain.
void endAtOnce(int) {
    if (isTerminalKnown) ::tcsetattr(STDIN_FILENO, TCSANOW, &terminalBefore);
    ::_exit(static_cast<int>(ExitStatus::failure));
}

void pass(int signal) {
    put(signal == SIGWINCH  ? Signals::Event::resize
        : signal == SIGTSTP ? Signals::Event::suspend
                            : Signals::Event::resume);
}

struct sigaction actionFor(int signal) {
    struct sigaction action {};
    const bool isPassed = signal == SIGWINCH || signal == SIGTSTP || signal == SIGCONT;
    action.sa_handler = isPassed ? pass : signal == SIGALRM ? endAtOnce : end;
    return action;
}

}  // namespace

Signals::Signals() {
    eventPipe = pipe_.writeEnd();
    isTerminalKnown = ::tcgetattr(STDIN_FILENO, &terminalBefore) == 0;
    for (std::size_t i = 0; i < handled.size(); ++i) {
        const struct sigaction action = actionFor(handled[i]);
        ::sigaction(handled[i], &action, &before_[i]);
    }
}

Signals::~Signals() {
    ::alarm(0);
    for (std::size_t i = 0; i < handled.size(); ++i) ::sigaction(handled[i], &before_[i], nullptr);
}

std::optional<Signals::Event> Signals::next() {
    const auto event = pipe_.take();
    return event ? std::optional(static_cast<Event>(*event)) : std::nullopt;
}

void Signals::stop() {
    struct sigaction byItself {};
    byItself.sa_handler = SIG_DFL;
    struct sigaction ours {};
    ::sigaction(SIGTSTP, &byItself, &ours);
    ::raise(SIGTSTP);
    ::sigaction(SIGTSTP, &ours, nullptr);
}

}  // namespace zqm
