#include "Platform/Posix/PosixClock.h"

#include <time.h>

#include <thread>

namespace zqm {
namespace {

#if defined(CLOCK_BOOTTIME)
constexpr clockid_t continuousClock = CLOCK_BOOTTIME;  // Linux: CLOCK_MONOTONIC stands still while the machine sleeps
constexpr clockid_t steadyClock = CLOCK_MONOTONIC;
#else
constexpr clockid_t continuousClock = CLOCK_MONOTONIC;  // Darwin: CLOCK_UPTIME_RAW is the one that stands still
constexpr clockid_t steadyClock = CLOCK_UPTIME_RAW;
#endif

template <class Instant>
Instant now(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return Instant(Seconds(static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9));
}

}  // namespace

WallTime PosixClock::wall() {
    return now<WallTime>(CLOCK_REALTIME);
}
MonotonicTime PosixClock::monotonic() {
    return now<MonotonicTime>(steadyClock);
}
ContinuousTime PosixClock::continuous() {
    return now<ContinuousTime>(continuousClock);
}
void PosixClock::sleep(Seconds duration) {
    std::this_thread::sleep_for(duration);
}

}  // namespace zqm
