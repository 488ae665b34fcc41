#include "Platform/Posix/AsioMainLoop.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <cassert>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <system_error>
#include <thread>
#include <utility>

#include "Platform/Posix/Descriptor.h"

namespace zqm {
namespace {

using Ticks = asio::steady_timer::duration;

/// A number of seconds brought into [lowest, one year]; what is not a number counts as the lowest.
Ticks clampedTicks(Seconds seconds, Seconds lowest) {
    constexpr Seconds year = std::chrono::hours(24 * 365);
    if (!(seconds > lowest)) return std::chrono::duration_cast<Ticks>(lowest);
    return std::chrono::duration_cast<Ticks>(seconds < year ? seconds : year);
}

/// Outlives its RepeatingTimer while its own task runs.
struct Repetition : std::enable_shared_from_this<Repetition> {
    Repetition(asio::io_context& io, Ticks everyTicks, std::function<void()> body)
        : timer(io, everyTicks), period(everyTicks), task(std::move(body)) {}

    void arm() {
        timer.async_wait([self = shared_from_this()](std::error_code) noexcept {
            if (!self->cancelled) self->fire();
        });
    }

    void fire() {
        // The next multiple of the period that lies ahead: what was missed until now is this one firing.
        const Ticks late = asio::steady_timer::clock_type::now() - timer.expiry();
        timer.expires_at(timer.expiry() + period * (late / period + 1));
        arm();
        task();
    }

    asio::steady_timer timer;
    const Ticks period;
    const std::function<void()> task;
    bool cancelled = false;
};

class RepeatingTimer final : public Timer {
public:
    explicit RepeatingTimer(std::shared_ptr<Repetition> repetition) : repetition_(std::move(repetition)) {
        repetition_->arm();
    }
    ~RepeatingTimer() override {
        repetition_->cancelled = true;
        repetition_->timer.cancel();
    }

private:
    std::shared_ptr<Repetition> repetition_;
};

// What the handlers of signals use.
volatile sig_atomic_t wakeUp = -1;  // a byte written there ends the loop
itimerval lastTimer;                // what is left to the process then

constexpr std::array endings{SIGTERM, SIGINT};

void setHandler(int signal, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    ::sigaction(signal, &action, nullptr);
}

void endAtOnce(int) {
    ::_exit(EXIT_SUCCESS);
}

/// Whatever hangs, the main thread included: the process ends when its time is over, and at once by a second signal.
void askToEnd(int) {
    const int error = errno;
    for (const int signal : endings) setHandler(signal, SIG_DFL);
    ::setitimer(ITIMER_REAL, &lastTimer, nullptr);
    [[maybe_unused]] const auto written = ::write(wakeUp, "", 1);
    errno = error;
}

}  // namespace

struct AsioMainLoop::State {
    asio::io_context io{1};
    asio::executor_work_guard<asio::io_context::executor_type> work{io.get_executor()};  // `run` waits when idle
    asio::posix::stream_descriptor asked{io};
    Descriptor asking;
    std::thread::id thread = std::this_thread::get_id();

    explicit State(Seconds patience) {
        std::array<int, 2> ends{-1, -1};
        if (::pipe(ends.data()) != 0) throw std::system_error(errno, std::generic_category());
        for (const int end : ends) ::fcntl(end, F_SETFD, FD_CLOEXEC);
        asked.assign(ends[0]);
        asking = Descriptor(ends[1]);
        asked.async_wait(asio::posix::descriptor_base::wait_read, [this](std::error_code error) {
            if (!error) io.stop();
        });
        wakeUp = asking.get();
        const auto microseconds = std::chrono::duration_cast<std::chrono::microseconds>(patience).count();
        lastTimer.it_value = {static_cast<time_t>(microseconds / 1'000'000),
                              static_cast<suseconds_t>(microseconds % 1'000'000)};
        setHandler(SIGALRM, endAtOnce);
        for (const int signal : endings) setHandler(signal, askToEnd);
    }

    ~State() {
        for (const int signal : endings) setHandler(signal, SIG_DFL);
        constexpr itimerval never{};
        ::setitimer(ITIMER_REAL, &never, nullptr);
        setHandler(SIGALRM, SIG_DFL);
    }
};

AsioMainLoop::AsioMainLoop(Seconds patience) : state_(std::make_unique<State>(patience)) {}

AsioMainLoop::~AsioMainLoop() = default;

void AsioMainLoop::post(std::function<void()> task) {
    asio::post(state_->io, [task = std::move(task)]() noexcept { task(); });
}

void AsioMainLoop::postAfter(Seconds delay, std::function<void()> task) {
    auto timer = std::make_unique<asio::steady_timer>(state_->io, clampedTicks(delay, Seconds(0)));
    auto& waiting = *timer;
    waiting.async_wait([timer = std::move(timer), task = std::move(task)](std::error_code) noexcept { task(); });
}

std::unique_ptr<Timer> AsioMainLoop::every(Seconds period, std::function<void()> task) {
    assert(isCurrent());
    const Ticks ticks = clampedTicks(period, std::chrono::milliseconds(1));
    return std::make_unique<RepeatingTimer>(std::make_shared<Repetition>(state_->io, ticks, std::move(task)));
}

bool AsioMainLoop::isCurrent() const {
    return std::this_thread::get_id() == state_->thread;
}

void AsioMainLoop::run() {
    assert(isCurrent());
    state_->io.run();
    state_->io.restart();
}

void AsioMainLoop::stop() {
    state_->io.stop();
}

}  // namespace zqm
