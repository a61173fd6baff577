// Which loop is the process's own. Nothing else in this program has one.

#include "platform/loop/MainLoop.h"
#include "platform/loop/PollLoop.h"

#include <gtest/gtest.h>
#include <memory>
#include <thread>

namespace {

using platform::MainLoop;

TEST(LoopOfProcess, IsMadeOnTheThreadThatAsksForItUnlessOneIsInstalled)
{
    EXPECT_FALSE(MainLoop::runsOnThisThread()) << "asking makes none";
    auto installed = std::make_unique<platform::PollLoop>();
    const MainLoop* const expected = installed.get();
    MainLoop::install(std::move(installed));
    EXPECT_EQ(&MainLoop::main(), expected);
    EXPECT_TRUE(MainLoop::runsOnThisThread());
    std::thread([] { EXPECT_FALSE(MainLoop::runsOnThisThread()); }).join();
    EXPECT_DEATH(MainLoop::install(std::make_unique<platform::PollLoop>()), "had one already");
}

} // namespace
