#include "platform/loop/MainLoop.h"

#include "platform/loop/Callback.h"

#include <cstdio>
#include <cstdlib>

namespace platform {

void MainLoop::assertLoopThread() const
{
#ifndef NDEBUG
    if (!isLoopThread()) {
        std::fputs("trelkind: this belongs to the main loop's thread and was called on another one; "
                   "use MainLoop::post()\n",
            stderr);
        std::abort();
    }
#endif
}

Timer::Timer(std::shared_ptr<TimerState> state) : state_(std::move(state)) { }

Timer::~Timer()
{
    invalidate();
}

std::unique_ptr<Timer> Timer::schedule(double seconds, Repeats repeats, MainLoop::Work action)
{
    MainLoop& loop = MainLoop::main();
    loop.assertLoopThread();
    auto state = std::make_shared<TimerState>(std::move(action));
    state->interval = Pace::of(seconds).count();
    state->repeats = repeats == Repeats::Yes;
    loop.schedule(state, monotonicSeconds() + state->interval);
    return std::unique_ptr<Timer>(new Timer(std::move(state)));
}

std::unique_ptr<Timer> Timer::unscheduled([[maybe_unused]] double seconds, MainLoop::Work action)
{
    return std::unique_ptr<Timer>(new Timer(std::make_shared<TimerState>(std::move(action))));
}

void Timer::invalidate()
{
    state_->callback.end();
}

bool Timer::isValid() const
{
    return !state_->callback.ended;
}

} // namespace platform
