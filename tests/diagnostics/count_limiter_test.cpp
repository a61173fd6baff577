#include "diagnostics/KRCountLimiter.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <functional>
#include <thread>
#include <vector>

namespace {

void waitFor(const std::function<bool()>& condition)
{
    while (!condition())
        std::this_thread::yield();
}

TEST(CountLimiter, LetsWaitersInByOrderOfArrival)
{
    KRCountLimiter gate;
    for (int i = 0; i < 6; ++i)
        gate.requestAccess();

    std::array<int, 5> order{};
    std::atomic<std::size_t> arrived = 0;
    std::vector<std::thread> waiters;
    for (int i = 0; i < 5; ++i) {
        waiters.emplace_back([&, i] {
            gate.requestAccess();
            order[arrived++] = i;
        });
        waitFor([&] { return gate.waitingCount() == i + 1; });
    }
    EXPECT_EQ(gate.currentCount(), 6);
    for (std::size_t i = 1; i <= 5; ++i) {
        gate.returnAccess();
        waitFor([&] { return arrived == i; });
    }
    for (auto& waiter : waiters)
        waiter.join();
    EXPECT_EQ(order, (std::array{0, 1, 2, 3, 4}));
    EXPECT_EQ(gate.currentCount(), 6);
}

TEST(CountLimiter, ALowerLimitHoldsWaitersBackUntilThereIsRoomBelowIt)
{
    KRCountLimiter gate;
    gate.setMaxCount(2);
    gate.requestAccess();
    gate.requestAccess();
    gate.setMaxCount(1);
    std::thread waiter([&] { gate.requestAccess(); });
    waitFor([&] { return gate.waitingCount() == 1; });
    gate.returnAccess();
    EXPECT_EQ(gate.waitingCount(), 1);
    gate.returnAccess();
    waiter.join();
    EXPECT_EQ(gate.currentCount(), 1);
}

} // namespace
