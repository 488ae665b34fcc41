#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <thread>
#include <vector>

#include "Platform/Posix/AsioMainLoop.h"
#include "Platform/Posix/PosixClock.h"

namespace zqm {
namespace {

using namespace std::chrono_literals;
using SteadyClock = std::chrono::steady_clock;

TEST(MainLoop, RunsTasksInTheOrderOfPostingOnItsThread) {
    AsioMainLoop loop;
    std::vector<int> order;
    loop.post([&] { order.push_back(1); });
    std::thread([&] {
        EXPECT_FALSE(loop.isCurrent());
        loop.post([&] {
            EXPECT_TRUE(loop.isCurrent());
            order.push_back(2);
            loop.post([&] { order.push_back(4); });
            loop.postAfter(Seconds(-1), [&] { loop.post([&] { loop.stop(); }); });
        });
        loop.post([&] { order.push_back(3); });
    }).join();
    loop.run();
    EXPECT_EQ(order, (std::vector{1, 2, 3, 4}));
}

TEST(MainLoop, MissedFiringsMergeAndTheCadenceIsKept) {
    AsioMainLoop loop;
    constexpr auto period = 10ms;
    const auto begin = SteadyClock::now();
    int firings = 0;
    auto timer = loop.every(period, [&] {
        ++firings;
        if (firings == 1) std::this_thread::sleep_for(5 * period);
        if (firings == 3) loop.stop();
    });
    loop.run();
    // Due at 1; late until 6; the missed ones as one; then the next whole period.
    EXPECT_GE(SteadyClock::now() - begin, 7 * period);
}

TEST(MainLoop, ATimerMayEndItselfAndItsPeriodIsBounded) {
    AsioMainLoop loop;
    std::unique_ptr<Timer> timer = loop.every(Seconds(-1), [&] {
        timer.reset();
        loop.postAfter(0.01s, [&] { loop.stop(); });
    });
    const auto never = loop.every(Seconds(1e300), [] { FAIL() << "a year has not passed"; });
    loop.run();
    EXPECT_FALSE(timer);
}

TEST(MainLoop, EndsWhenTheSystemAsksAndTheProcessWithItWhateverHangs) {
    const auto raise = [](int signal, int times, bool hangs) {
        AsioMainLoop loop(1ms);
        loop.post([=] {
            for (int i = 0; i < times; ++i) ::raise(signal);
            while (hangs) ::pause();
        });
        loop.run();
        ::_exit(3);
    };
    EXPECT_EXIT(raise(SIGINT, 1, false), testing::ExitedWithCode(3), "");
    EXPECT_EXIT(raise(SIGTERM, 1, true), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(raise(SIGINT, 2, true), testing::KilledBySignal(SIGINT), "");
}

TEST(Clock, TellsFractionsOfASecond) {
    const auto steadyNow = [] { return Seconds(SteadyClock::now().time_since_epoch()); };
    const Seconds before = steadyNow(), now = PosixClock().monotonic().time_since_epoch(), after = steadyNow();
    EXPECT_TRUE(before - 1us <= now && now <= after + 1us);
}

}  // namespace
}  // namespace zqm
