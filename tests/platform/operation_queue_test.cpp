#include "platform/loop/OperationQueue.h"

#include "OnThreads.h"
#include "platform/loop/MainLoop.h"

#include <atomic>
#include <gtest/gtest.h>
#include <latch>
#include <pthread.h>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <vector>

namespace {

using platform::MainLoop;
using platform::Operation;
using platform::OperationQueue;

class Task : public Operation {
public:
    explicit Task(std::function<void(Task&)> body) : body_(std::move(body)) { }
    void main() override { body_(*this); }

private:
    std::function<void(Task&)> body_;
};

std::shared_ptr<Task> task(std::function<void(Task&)> body)
{
    return std::make_shared<Task>(std::move(body));
}

void add(OperationQueue& queue, int count, const std::function<void(Task&)>& body)
{
    for (int number = 0; number < count; ++number)
        queue.addOperation(task(body));
}

// A door that operations wait behind, counting those that stand there.
class Door {
public:
    void pass()
    {
        ++inside_;
        isOpen_.wait();
        --inside_;
    }
    void open() { isOpen_.count_down(); }
    bool reaches(int count, double limitInSeconds = 10) const
    {
        const double end = platform::monotonicSeconds() + limitInSeconds;
        while (inside_ < count && platform::monotonicSeconds() < end)
            std::this_thread::yield();
        return inside_ >= count;
    }

private:
    std::latch isOpen_{1};
    std::atomic<int> inside_ = 0;
};

// While it lives the machine gives this process no new thread: there is no room for such a stack.
class NoThreads {
public:
    NoThreads()
    {
        pthread_getattr_default_np(&former_);
        pthread_attr_t greedy;
        pthread_attr_init(&greedy);
        pthread_attr_setstacksize(&greedy, std::size_t{1} << 46);
        EXPECT_EQ(pthread_setattr_default_np(&greedy), 0);
        pthread_attr_destroy(&greedy);
    }
    ~NoThreads()
    {
        pthread_setattr_default_np(&former_);
        pthread_attr_destroy(&former_);
    }
    NoThreads(const NoThreads&) = delete;
    NoThreads& operator=(const NoThreads&) = delete;

private:
    pthread_attr_t former_{};
};

struct OperationQueueTest : testing::Test {
    MainLoop& loop = MainLoop::main();
};

TEST_F(OperationQueueTest, OneAtATimeRunsInTheOrderOfAddingThoughOneThrows)
{
    OperationQueue queue(1);
    std::vector<int> order; // Guarded by there being one operation at a time.
    for (int number = 0; number < 200; ++number)
        queue.addOperation(task([&order, number](Task&) { order.push_back(number); }));
    queue.waitUntilAllOperationsAreFinished();
    ASSERT_EQ(order.size(), 200U);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    EXPECT_EQ(queue.operationCount(), 0);
    std::atomic<bool> next = false;
    queue.addOperation(task([](Task&) { throw std::runtime_error("lost"); }));
    queue.addOperation(task([&](Task&) { next = true; }));
    queue.waitUntilAllOperationsAreFinished();
    EXPECT_TRUE(next);
}

TEST_F(OperationQueueTest, TheLimitHoldsWhileItIsChanged)
{
    Door door;
    OperationQueue queue(2);
    add(queue, 10, [&](Task&) { door.pass(); });
    EXPECT_TRUE(door.reaches(2));
    EXPECT_FALSE(door.reaches(3, 0.05));
    queue.setMaxConcurrentOperationCount(5);
    EXPECT_TRUE(door.reaches(5));
    EXPECT_FALSE(door.reaches(6, 0.05));
    queue.setMaxConcurrentOperationCount(1);
    EXPECT_EQ(queue.operationCount(), 10);
    std::atomic<int> together = 0, most = 0;
    add(queue, 10, [&](Task&) {
        const int now = ++together;
        most = std::max(most.load(), now);
        --together;
    });
    door.open();
    queue.waitUntilAllOperationsAreFinished();
    EXPECT_EQ(most, 1);
    queue.setMaxConcurrentOperationCount(OperationQueue::Unlimited);
    Door second;
    add(queue, 20, [&](Task&) { second.pass(); });
    EXPECT_TRUE(second.reaches(20));
    second.open();
    queue.waitUntilAllOperationsAreFinished();
}

TEST_F(OperationQueueTest, CancellingDropsWhatHasNotBegunAndAsksTheRestToStop)
{
    Door door;
    OperationQueue queue(1);
    std::atomic<int> sawCancel = 0;
    int told = 0;
    for (int number = 0; number < 5; ++number)
        queue.addOperation(task([&, number](Task& self) {
            if (number == 0)
                door.pass();
            sawCancel += self.isCancelled() ? 1 : 0;
            self.postWhenEnded([&] { ++told; });
        }));
    EXPECT_TRUE(door.reaches(1));
    EXPECT_EQ(queue.operations().size(), 5U);
    queue.cancelAllOperations();
    EXPECT_EQ(queue.operations().size(), 1U);
    EXPECT_EQ(queue.operationCount(), 1);
    door.open();
    EXPECT_TRUE(loop.runUntil([&] { return told == 1; }, 10));
    queue.waitUntilAllOperationsAreFinished();
    EXPECT_EQ(sawCancel, 1);
}

TEST_F(OperationQueueTest, WhoIsToldOfAnEndFindsACountWithoutIt)
{
    OperationQueue queue(3);
    int told = 0, atLast = -1;
    add(queue, 300, [&](Task& self) {
        self.postWhenEnded([&] {
            ++told;
            EXPECT_LE(queue.operationCount(), 300 - told);
            atLast = queue.operationCount();
        });
    });
    EXPECT_TRUE(loop.runUntil([&] { return told == 300; }, 20));
    EXPECT_EQ(atLast, 0);
}

// The queue goes on the main thread while its operation needs that very thread.
TEST_F(OperationQueueTest, DestructionServesAnOperationThatWaitsForTheMainThread)
{
    std::atomic<bool> entered = false;
    bool served = false, before = false, dropped = true;
    {
        OperationQueue queue(1);
        queue.addOperation(task([&](Task& self) {
            entered = true;
            while (!self.isCancelled())
                std::this_thread::yield();
            loop.post([&] { before = true; });
            loop.postAndWait([&] { served = before; });
        }));
        queue.addOperation(task([&](Task&) { dropped = false; }));
        EXPECT_TRUE(loop.runUntil([&] { return entered.load(); }, 10));
    }
    EXPECT_TRUE(served && dropped);
}

TEST_F(OperationQueueTest, AnOperationMayTakeItsQueueAlongWhenItEnds)
{
    auto queue = std::make_shared<OperationQueue>(2);
    std::atomic<bool> done = false;
    queue->addOperation(task([&done, held = queue](Task&) mutable {
        while (held.use_count() > 1)
            std::this_thread::yield();
        held.reset();
        done = true;
    }));
    queue.reset();
    EXPECT_TRUE(loop.runUntil([&] { return done.load(); }, 10));
}

TEST_F(OperationQueueTest, WithoutAThreadOperationsWaitForOneAndNoneIsLost)
{
    platform::Pace::setFactor(0.01); // The queue asks again after a second.
    OperationQueue queue;
    std::vector<int> order;
    const auto add = [&](int number) {
        queue.addOperation(task([&, number](Task&) { loop.postAndWait([&] { order.push_back(number); }); }));
    };
    {
        const NoThreads none;
        EXPECT_THROW(std::thread([] {}).join(), std::system_error);
        queue.setMaxConcurrentOperationCount(1);
        add(1);
        add(2);
        OperationQueue dropped;
        dropped.addOperation(task([&](Task&) { order.push_back(0); }));
        EXPECT_FALSE(loop.runUntil([&] { return !order.empty(); }, 0.05)) << "asked several times by now";
        EXPECT_EQ(queue.operationCount(), 2);
    }
    EXPECT_TRUE(loop.runUntil([&] { return order.size() == 2; }, 10));
    EXPECT_EQ(order, (std::vector<int>{1, 2}));

    Door door;
    queue.waitUntilAllOperationsAreFinished();
    queue.setMaxConcurrentOperationCount(2);
    queue.addOperation(task([&](Task&) { door.pass(); }));
    EXPECT_TRUE(door.reaches(1));
    const NoThreads none;
    bool second = false;
    queue.addOperation(task([&](Task&) { second = true; }));
    door.open();
    queue.waitUntilAllOperationsAreFinished(); // The thread that runs takes it, without the loop.
    EXPECT_TRUE(second);
    platform::Pace::setFactor(1);
}

TEST_F(OperationQueueTest, AddingFromManyThreadsLosesNothing)
{
    OperationQueue queue(4);
    std::atomic<int> ran = 0;
    onThreads(4, [&](int) { add(queue, 250, [&](Task&) { ++ran; }); });
    queue.waitUntilAllOperationsAreFinished();
    EXPECT_EQ(ran, 1000);
}

} // namespace
