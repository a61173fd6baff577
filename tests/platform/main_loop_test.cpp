// What every main loop promises. These tests run on each of them.

#include "platform/loop/MainLoop.h"

#include "OnThreads.h"
#include "platform/TemporaryFolder.h"
#include "platform/files/Descriptor.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using platform::MainLoop;
using platform::Pace;
using platform::Timer;

using platform::Descriptor;
using Words = std::vector<std::string>;

struct Pipe {
    Pipe()
    {
        int numbers[2] = {-1, -1};
        EXPECT_EQ(pipe2(numbers, O_NONBLOCK | O_CLOEXEC), 0);
        readEnd.reset(numbers[0]);
        writeEnd.reset(numbers[1]);
    }
    void fill() const { EXPECT_EQ(write(writeEnd.get(), "x", 1), 1); }
    bool takeByte() const
    {
        char byte = 0;
        return read(readEnd.get(), &byte, 1) == 1;
    }
    Descriptor readEnd, writeEnd;
};

struct MainLoopTest : testing::Test {
    void TearDown() override { Pace::setFactor(1); }
    // How often the loop looks around in a twentieth of a second when it has nothing to do.
    int turnsOfAnIdleLoop()
    {
        int looks = 0;
        loop.runUntil([&] { return ++looks == 1000; }, 0.05);
        return looks;
    }
    MainLoop& loop = MainLoop::main();
};

TEST_F(MainLoopTest, EachThreadsWorkIsDoneInTheOrderOfItsPosting)
{
    std::array<std::vector<int>, 4> seen;
    std::thread posting([&] {
        onThreads(4, [&](int thread) {
            auto& list = seen[static_cast<std::size_t>(thread)];
            for (int number = 0; number < 500; ++number)
                loop.post([&list, number] { list.push_back(number); });
        });
    });
    EXPECT_TRUE(loop.runUntil(
        [&] { return std::ranges::all_of(seen, [](const auto& list) { return list.size() == 500; }); }, 30));
    posting.join();
    for (const auto& list : seen)
        EXPECT_TRUE(std::ranges::is_sorted(list));
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

TEST_F(MainLoopTest, AnIdleLoopIsWokenByEveryKindOfPostingAndEndsAtAStop)
{
    loop.stop();
    loop.run(); // Ends at the stop that came before.
    std::thread worker([&] {
        for (int round = 0; round < 10; ++round) {
            std::atomic<bool> done = false;
            loop.post([&] { done = true; });
            while (!done)
                std::this_thread::yield();
            loop.postAndWait([] {});
        }
        loop.stop();
    });
    loop.run(); // It looks at nothing by itself, so a posting that doesn't wake it hangs this test.
    worker.join();
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
    EXPECT_TRUE(early->isValid() && loop.runUntil([&] { return order.size() >= 3; }, 10));
    EXPECT_EQ(order, "abc");
    EXPECT_FALSE(early->isValid());
    EXPECT_TRUE(never->isValid());
}

TEST_F(MainLoopTest, AWatchIsCalledWhileItsDescriptorIsReadableOrHungUp)
{
    Pipe pipe;
    int calls = 0;
    std::unique_ptr<MainLoop::Watch> watch = loop.watchReadable(pipe.readEnd.get(), [&] {
        ++calls;
        if (!pipe.takeByte())
            watch.reset();
        // The byte that is still there must not bring the handler in a second time from inside itself.
        const int before = calls;
        EXPECT_LT(turnsOfAnIdleLoop(), 50) << "nor keep the loop inside of it busy";
        EXPECT_EQ(calls, before);
    });
    EXPECT_FALSE(loop.runUntil([&] { return calls > 0; }, 0.03));
    pipe.fill();
    pipe.fill();
    EXPECT_TRUE(loop.runUntil([&] { return calls == 2; }, 10));
    pipe.writeEnd.reset();
    EXPECT_TRUE(loop.runUntil([&] { return !watch; }, 10));
    EXPECT_FALSE(loop.runUntil([&] { return calls > 3; }, 0.03));
}

TEST_F(MainLoopTest, WatchesOfOneDescriptorComeAndGoAlone)
{
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    const Descriptor here(ends[0]);
    const Descriptor there(ends[1]);
    int readable = 0, alsoReadable = 0, writable = 0;
    auto first = loop.watchReadable(here.get(), [&] { ++readable; });
    EXPECT_LT(turnsOfAnIdleLoop(), 50);
    auto second = loop.watchWritable(here.get(), [&] { ++writable; });
    EXPECT_TRUE(loop.runUntil([&] { return writable > 1; }, 10));
    EXPECT_EQ(readable, 0);
    ASSERT_EQ(write(there.get(), "x", 1), 1);
    auto third = loop.watchReadable(here.get(), [&] { ++alsoReadable; });
    EXPECT_TRUE(loop.runUntil([&] { return readable > 0 && alsoReadable > 0; }, 10));
    first.reset();
    second.reset();
    readable = writable = alsoReadable = 0;
    EXPECT_TRUE(loop.runUntil([&] { return alsoReadable > 2; }, 10));
    EXPECT_EQ(readable + writable, 0);
    char byte = 0;
    ASSERT_EQ(read(here.get(), &byte, 1), 1);
    EXPECT_LT(turnsOfAnIdleLoop(), 50);
    loop.watchWritable(here.get(), [] {}).reset();
    EXPECT_LT(turnsOfAnIdleLoop(), 50) << "there is room to write, and nobody watches for that any more";
}

TEST_F(MainLoopTest, WhatCannotBeWatchedIsRefusedAndWhatWasClosedIsForgotten)
{
    const TemporaryFolder folder;
    const Descriptor file(open((folder / "file").c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600));
    EXPECT_FALSE(loop.watchReadable(file.get(), [] {}) || loop.watchReadable(-1, [] {}));

    // The file is still open under another number when its owner closes the watched one.
    int calls = 0;
    Pipe closed;
    const Descriptor copy(dup(closed.readEnd.get()));
    auto watch = loop.watchReadable(closed.readEnd.get(), [&] { ++calls; });
    closed.readEnd.reset();
    closed.fill();
    loop.runPending();
    EXPECT_EQ(calls, 0);
    watch.reset();
    EXPECT_LT(turnsOfAnIdleLoop(), 50);

    // The number of a closed descriptor comes back for another one.
    Pipe former;
    const int number = former.readEnd.get();
    const auto stale = loop.watchReadable(number, [&] { ++calls; });
    former.readEnd.reset();
    Pipe next;
    ASSERT_EQ(next.readEnd.get(), number);
    int nextCalls = 0;
    const auto fresh = loop.watchReadable(number, [&] { nextCalls += next.takeByte() ? 1 : 0; });
    next.fill();
    EXPECT_TRUE(loop.runUntil([&] { return nextCalls == 1; }, 10));
    EXPECT_EQ(calls, 0);
}

TEST_F(MainLoopTest, AfterALoopInsideAHandlerReadinessIsAskedAnew)
{
    const Pipe pipes[2];
    int vain = 0, served = 0;
    std::vector<std::unique_ptr<MainLoop::Watch>> watches;
    for (const Pipe& pipe : pipes) {
        pipe.fill();
        watches.push_back(loop.watchReadable(pipe.readEnd.get(), [&] {
            if (!pipe.takeByte())
                ++vain;
            else if (++served == 1)
                loop.runUntil([&] { return served == 2; }, 10);
        }));
    }
    loop.runUntil([&] { return served > 0; }, 10);
    EXPECT_EQ(served, 2) << "the loop inside serves the other one";
    EXPECT_LT(turnsOfAnIdleLoop(), 50);
    EXPECT_EQ(vain, 0);
    pipes[0].fill();
    EXPECT_TRUE(loop.runUntil([&] { return served == 3; }, 10)) << "it is waited for again";
}

TEST_F(MainLoopTest, TimersThatAreDueTogetherOrAlwaysLeaveRoomForEachOtherAndWork)
{
    Pace::setFactor(0.001);
    int fired = 0;
    const auto first = Timer::schedule(1, Timer::Repeats::No,
        [&] { EXPECT_TRUE(loop.runUntil([&] { return fired == 2; }, 10)) << "the others starve"; });
    const auto second = Timer::schedule(1, Timer::Repeats::No, [&] { ++fired; });
    const auto third = Timer::schedule(1, Timer::Repeats::Yes, [&] { ++fired; });
    usleep(5000); // All three are due in the same turn.
    EXPECT_TRUE(loop.runUntil([&] { return fired >= 2; }, 10));

    // A model with no time between two firings must not keep everything else from being served.
    int ticks = 0;
    bool worked = false;
    const auto timer = Timer::schedule(0, Timer::Repeats::Yes, [&] { ++ticks; });
    loop.post([&] { worked = true; });
    EXPECT_TRUE(loop.runUntil([&] { return worked && ticks > 3; }, 10));
}

TEST_F(MainLoopTest, WorkAfterAnEventIsDoneBeforeAllElseAndNeverByALoopInside)
{
    Words story;
    const auto note = [&](const char* word) { return [&story, word] { story.emplace_back(word); }; };
    bool done = false;
    loop.post([&] {
        loop.afterThisEvent([&] {
            note("after")();
            loop.afterThisEvent(note("after that"));
        });
        loop.post([&] {
            note("posted")();
            loop.afterThisEvent(note("asked inside"));
            loop.post(note("inside"));
        });
        EXPECT_TRUE(loop.runUntil([&] { return story.size() == 2; }, 10));
        loop.runPending();
        loop.post(note("next"));
        note("end of event")();
    });
    loop.post(note("waiting"));
    EXPECT_TRUE(loop.runUntil([&] { return !story.empty() && story.back() == "next"; }, 10));
    EXPECT_EQ(story,
        (Words{
            "waiting", "posted", "inside", "end of event", "after", "asked inside", "after that", "next"}));

    loop.post(note("first"));
    loop.afterThisEvent([&] { done = true; });
    loop.runUntil([&] { return story.back() == "first"; }, 10);
    EXPECT_FALSE(done) << "outside of any event it is posted work";
    EXPECT_TRUE(loop.runUntil([&] { return done; }, 10));
}

TEST_F(MainLoopTest, EveryKindOfEventHasItsOwnEnd)
{
    Words story;
    const auto event = [&](const std::string& name) {
        story.push_back(name);
        loop.afterThisEvent([&story, name] { story.push_back("end of " + name); });
    };
    const auto pipe = std::make_unique<Pipe>();
    const auto watch = loop.watchReadable(pipe->readEnd.get(), [&] {
        pipe->takeByte();
        event("watch");
    });
    const auto signal = loop.watchSignal(SIGUSR1, [&] { event("signal"); });
    const auto timer = Timer::schedule(0, Timer::Repeats::No, [&] { event("timer"); });
    pipe->fill();
    raise(SIGUSR1);
    loop.post([&] { event("work"); });
    EXPECT_TRUE(loop.runUntil([&] { return story.size() == 8; }, 10));
    EXPECT_EQ(story,
        (Words{"watch", "end of watch", "signal", "end of signal", "timer", "end of timer", "work",
            "end of work"}));

    // Who waits for a thread of its own is still inside its event.
    std::atomic<bool> ended = false;
    story.clear();
    loop.post([&] {
        std::thread worker([&] {
            loop.postAndWait([&] { event("waited for"); });
            ended = true;
        });
        loop.serveWaitersUntil([&] { return ended.load(); });
        worker.join();
        story.emplace_back("joined");
    });
    EXPECT_TRUE(loop.runUntil([&] { return story.size() == 3; }, 10));
    EXPECT_EQ(story, (Words{"waited for", "joined", "end of waited for"}));
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
    const Pipe pipe;
    int watched = 0;
    const auto watch = loop.watchWritable(pipe.writeEnd.get(), throwing(watched));
    EXPECT_THROW(loop.runUntil([] { return false; }, 10), std::runtime_error);
    EXPECT_TRUE(loop.runUntil([&] { return watched == 2; }, 10)) << "it is ready for its next call";

    int timed = 0, other = 0;
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

    bool after = false, later = false;
    loop.post([&] {
        loop.afterThisEvent([&] { after = true; });
        loop.stop();
        throw std::runtime_error("out of run()");
    });
    loop.post([&] { later = true; });
    EXPECT_THROW(loop.run(), std::runtime_error);
    EXPECT_FALSE(after);
    loop.run(); // The stop still stands.
    EXPECT_FALSE(later);
    EXPECT_TRUE(loop.runUntil([&] { return later; }, 10) && after);
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
