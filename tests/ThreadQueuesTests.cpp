#include "Platform/Posix/ThreadQueues.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <atomic>
#include <future>
#include <thread>
#include <vector>

namespace zqm {
namespace {

using namespace std::chrono_literals;

TEST(ThreadQueues, ASerialQueueKeepsTheOrder) {
    ThreadQueues queues;
    std::vector<int> order;
    auto queue = queues.makeQueue("serial", 1);
    std::promise<void> done;
    for (int i = 0; i < 1000; ++i) queue->post([&, i] { order.push_back(i); });
    queue->post([&] { done.set_value(); });
    done.get_future().wait();
    EXPECT_EQ(order.size(), 1000u);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST(ThreadQueues, RunsAsManyAtOnceAsTheWidthAllows) {
    ThreadQueues queues(1ms);  // threads come and go
    auto queue = queues.makeQueue("wide", 3);
    std::atomic<int> running{0}, most{0}, done{0};
    std::promise<void> all, three;
    auto gate = three.get_future().share();
    for (int i = 0; i < 60; ++i) {
        queue->post([&] {
            const int now = ++running;
            int seen = most;
            while (now > seen && !most.compare_exchange_weak(seen, now)) continue;
            if (now == 3 && done == 0) three.set_value();
            if (done == 0) gate.wait();  // the first three prove that three run at once
            --running;
            if (++done == 60) all.set_value();
        });
    }
    all.get_future().wait();
    EXPECT_EQ(most, 3);
}

TEST(ThreadQueues, DestructionDropsWhatHasNotBegunAndWaitsForTheRest) {
    ThreadQueues queues;
    auto queue = queues.makeQueue("zqm.helper.http.conn", 1);
    std::promise<void> begun;
    std::atomic<bool> finished{false};
    queue->post([&] {
        sigset_t blocked;
        ::pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
        EXPECT_TRUE(::sigismember(&blocked, SIGTERM));
        begun.set_value();
        std::this_thread::sleep_for(20ms);
        finished = true;
    });
    const auto token = std::make_shared<int>();
    queue->post([held = token] { FAIL(); });
    begun.get_future().wait();
    queue.reset();
    EXPECT_TRUE(finished);
    EXPECT_EQ(token.use_count(), 1);
}

}  // namespace
}  // namespace zqm
