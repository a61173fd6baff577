#include "platform/loop/MainLoop.h"
#include "platform/loop/PollLoop.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace platform {

namespace {

std::atomic<MainLoop*> theLoop = nullptr;
std::mutex makingTheLoop;

} // namespace

MainLoop& MainLoop::main()
{
    if (MainLoop* const loop = theLoop)
        return *loop;
    const std::lock_guard lock(makingTheLoop);
    if (!theLoop)
        theLoop = new PollLoop; // Never destroyed: workers may post until the process ends.
    return *theLoop;
}

void MainLoop::install(std::unique_ptr<MainLoop> loop)
{
    const std::lock_guard lock(makingTheLoop);
    if (theLoop) {
        std::fputs("trelkind: a main loop was installed after the process had one already\n", stderr);
        std::abort();
    }
    theLoop = loop.release();
}

bool MainLoop::runsOnThisThread()
{
    const MainLoop* loop = theLoop;
    return loop && loop->isLoopThread();
}

} // namespace platform
