#include "apps/console/Following.h"

#include "platform/loop/MainLoop.h"

#include <csignal>

namespace {

constexpr double kSecondsBetweenLooks = 0.5;

} // namespace

bool followUntil(const std::function<bool()>& done, const std::function<void()>& look)
{
    auto& loop = platform::MainLoop::main();
    bool interrupted = false;
    const auto watch = loop.watchSignal(SIGINT, [&interrupted] { interrupted = true; });
    look();
    const auto timer = platform::Timer::schedule(kSecondsBetweenLooks, platform::Timer::Repeats::Yes, look);
    loop.runUntil([&] { return interrupted || done(); });
    return interrupted;
}

bool isOver(SVSingleTask& task)
{
    task.updateBasedOnContent();
    return task.taskHasFinished() || task.taskWasAborted();
}
