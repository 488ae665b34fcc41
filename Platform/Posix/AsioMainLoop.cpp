#include "Platform/Posix/AsioMainLoop.h"

#include <signal.h>

#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <asio/signal_set.hpp>
#include <asio/steady_timer.hpp>
#include <cassert>
#include <chrono>
#include <thread>
#include <utility>

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

}  // namespace

struct AsioMainLoop::State {
    asio::io_context io{1};
    asio::executor_work_guard<asio::io_context::executor_type> work{io.get_executor()};  // `run` waits when idle
    asio::signal_set endings{io, SIGTERM, SIGINT};
    std::thread::id thread = std::this_thread::get_id();

    void stopWhenAsked() {
        endings.async_wait([this](std::error_code error, int) {
            if (error) return;
            io.stop();
            stopWhenAsked();
        });
    }
};

AsioMainLoop::AsioMainLoop() : state_(std::make_unique<State>()) {
    state_->stopWhenAsked();
}

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
