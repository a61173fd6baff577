#include "platform/loop/MainLoop.h"

#include <atomic>
#include <csignal>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using platform::MainLoop;
using platform::Pace;
using platform::Timer;

class MainLoopTest : public testing::Test {
protected:
    void TearDown() override { Pace::setFactor(1); }
    MainLoop& loop = MainLoop::main();
};

TEST_F(MainLoopTest, EachThreadsWorkIsDoneInTheOrderOfItsPosting)
{
    constexpr int kThreads = 4;
    constexpr int kPosts = 500;
    std::vector<std::vector<int>> seen(kThreads);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread)
        threads.emplace_back([&, thread] {
            for (int number = 0; number < kPosts; ++number)
                loop.post(
                    [&seen, thread, number] { seen[static_cast<std::size_t>(thread)].push_back(number); });
        });
    const auto complete = [&] {
        return std::all_of(seen.begin(), seen.end(), [](const auto& list) { return list.size() == kPosts; });
    };
    EXPECT_TRUE(loop.runUntil(complete, 30));
    for (std::thread& thread : threads)
        thread.join();
    for (const auto& list : seen)
        EXPECT_TRUE(std::is_sorted(list.begin(), list.end()));
}

TEST_F(MainLoopTest, PostAndWaitReturnsOnlyAfterTheWorkAndAllPostedBefore)
{
    std::vector<std::string> story;
    std::atomic<bool> returned = false;
    std::thread worker([&] {
        loop.post([&] { story.emplace_back("posted"); });
        std::string local = "waited for";
        loop.postAndWait([&] {
            story.push_back(local);
            EXPECT_FALSE(returned);
            EXPECT_TRUE(loop.isLoopThread());
        });
        returned = true;
    });
    EXPECT_TRUE(loop.runUntil([&] { return returned.load(); }, 10));
    worker.join();
    EXPECT_EQ(story, (std::vector<std::string>{"posted", "waited for"}));
    loop.postAndWait([&] { story.emplace_back("at once"); });
    EXPECT_EQ(story.back(), "at once");
}

TEST_F(MainLoopTest, RunEndsAtAStopFromAnotherThreadAndAtOneThatCameBefore)
{
    loop.stop();
    loop.run();
    std::atomic<bool> served = false;
    std::thread worker([&] {
        loop.postAndWait([&] { served = true; });
        loop.stop();
    });
    loop.run();
    worker.join();
    EXPECT_TRUE(served);
}

TEST_F(MainLoopTest, RunPendingLeavesWhatItsWorkPostsForTheNextTime)
{
    int rounds = 0;
    std::function<void()> again = [&] {
        ++rounds;
        loop.post(again);
    };
    loop.post(again);
    loop.runPending();
    EXPECT_EQ(rounds, 1);
    loop.runPending();
    EXPECT_EQ(rounds, 2);
    again = [] {};
    loop.runPending();
}

TEST_F(MainLoopTest, ARepeatingTimerMayEndItselfInItsAction)
{
    Pace::setFactor(0.001);
    int fired = 0;
    std::unique_ptr<Timer> timer;
    const auto witness = std::make_shared<int>();
    timer = Timer::schedule(10, Timer::Repeats::Yes, [&, witness] {
        if (++fired == 3)
            timer.reset();
    });
    EXPECT_TRUE(loop.runUntil([&] { return !timer; }, 10));
    EXPECT_FALSE(loop.runUntil([&] { return fired > 3; }, 0.05));
    EXPECT_EQ(witness.use_count(), 1) << "the action outlives its timer";
}

TEST_F(MainLoopTest, TimersFireInTheOrderInWhichTheyAreDue)
{
    Pace::setFactor(0.01);
    std::string order;
    const auto note = [&](char name) { return [&order, name] { order += name; }; };
    const auto late = Timer::schedule(6, Timer::Repeats::No, note('c'));
    const auto early = Timer::schedule(2, Timer::Repeats::No, note('a'));
    const auto next = Timer::schedule(2, Timer::Repeats::No, note('b'));
    const auto never = Timer::unscheduled(0, note('x'));
    const auto ended = Timer::schedule(1, Timer::Repeats::No, note('y'));
    ended->invalidate();
    EXPECT_TRUE(early->isValid());
    EXPECT_TRUE(loop.runUntil([&] { return order.size() >= 3; }, 10));
    EXPECT_EQ(order, "abc");
    EXPECT_FALSE(early->isValid());
    EXPECT_TRUE(never->isValid());
}

// A model with no time between two firings must not keep everything else from being served.
TEST_F(MainLoopTest, ATimerWithoutIntervalLeavesRoomForWork)
{
    int fired = 0;
    bool worked = false;
    const auto timer = Timer::schedule(0, Timer::Repeats::Yes, [&] { ++fired; });
    loop.post([&] { worked = true; });
    EXPECT_TRUE(loop.runUntil([&] { return worked && fired > 3; }, 10));
}

TEST_F(MainLoopTest, AWatchIsCalledWhileItsDescriptorIsReadableOrHungUp)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    int calls = 0;
    std::unique_ptr<MainLoop::Watch> watch = loop.watchReadable(ends[0], [&] {
        ++calls;
        char byte = 0;
        if (read(ends[0], &byte, 1) == 0)
            watch.reset();
        // The byte that is still there must not bring the handler in a second time from inside itself.
        const int before = calls;
        loop.runUntil([&] { return calls > before; }, 0.03);
        EXPECT_EQ(calls, before);
    });
    EXPECT_FALSE(loop.runUntil([&] { return calls > 0; }, 0.03));
    ASSERT_EQ(write(ends[1], "ab", 2), 2);
    EXPECT_TRUE(loop.runUntil([&] { return calls == 2; }, 10));
    close(ends[1]);
    EXPECT_TRUE(loop.runUntil([&] { return !watch; }, 10));
    close(ends[0]);
    EXPECT_FALSE(loop.runUntil([&] { return calls > 3; }, 0.03));
}

// The watch is one for writing: its pipe has room at once.
TEST_F(MainLoopTest, AnExceptionLeavesNothingUndone)
{
    Pace::setFactor(0.001);
    const auto throwing = [](int& calls) {
        return [&calls] {
            if (++calls == 1)
                throw std::runtime_error("first");
        };
    };
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    int watched = 0;
    const auto watch = loop.watchWritable(ends[1], throwing(watched));
    EXPECT_THROW(loop.runUntil([] { return false; }, 10), std::runtime_error);
    EXPECT_TRUE(loop.runUntil([&] { return watched == 2; }, 10)) << "it is ready for its next call";

    int timed = 0;
    int other = 0;
    const auto first = Timer::schedule(1, Timer::Repeats::No, throwing(timed));
    const auto second = Timer::schedule(1, Timer::Repeats::No, [&] { ++other; });
    usleep(5000); // Both are due in the same turn.
    EXPECT_THROW(loop.runUntil([] { return false; }, 10), std::runtime_error);
    EXPECT_FALSE(first->isValid());
    EXPECT_TRUE(loop.runUntil([&] { return other == 1; }, 10));

    int worked = 0;
    std::atomic<bool> returned = false;
    std::thread worker([&] {
        loop.postAndWait(throwing(worked));
        returned = true;
    });
    EXPECT_THROW(loop.runUntil([] { return false; }, 10), std::runtime_error);
    EXPECT_TRUE(loop.runUntil([&] { return returned.load(); }, 10));
    worker.join();
    close(ends[0]);
    close(ends[1]);
}

TEST_F(MainLoopTest, ASignalWatchGivesTheFormerDispositionBack)
{
    struct sigaction former { };
    former.sa_handler = [](int) {};
    ASSERT_EQ(sigaction(SIGUSR1, &former, nullptr), 0);
    int seen = 0;
    auto watch = loop.watchSignal(SIGUSR1, [&] { ++seen; });
    std::thread worker([] { raise(SIGUSR1); }); // On whichever thread it is delivered.
    worker.join();
    EXPECT_TRUE(loop.runUntil([&] { return seen == 1; }, 10));
    kill(getpid(), SIGUSR1);
    EXPECT_TRUE(loop.runUntil([&] { return seen == 2; }, 10));
    watch.reset();
    struct sigaction now { };
    ASSERT_EQ(sigaction(SIGUSR1, nullptr, &now), 0);
    EXPECT_EQ(now.sa_handler, former.sa_handler);
    EXPECT_FALSE(loop.watchSignal(SIGKILL, [] {}));
    signal(SIGUSR1, SIG_IGN);
    EXPECT_FALSE(loop.watchSignal(SIGUSR1, [] {})) << "who started us means it for others";
    kill(getpid(), SIGUSR1);
    signal(SIGUSR1, SIG_DFL);
}

#ifndef NDEBUG
TEST_F(MainLoopTest, ADebugBuildTellsWhoUsesTheLoopOnAWrongThread)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(std::thread([] { MainLoop::main().assertLoopThread(); }).join(), "main loop's thread");
}
#endif

} // namespace
