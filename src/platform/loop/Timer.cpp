#include "platform/loop/MainLoopState.h"

namespace platform {

void MainLoop::State::schedule(const std::shared_ptr<Timer::State>& timer, double due)
{
    timers.emplace(TimerKey{due, ++scheduledCount}, timer);
}

void MainLoop::State::fireTimers()
{
    // Taken out first, so that each fires at most once a turn however short its interval is.
    const double now = monotonicSeconds();
    std::deque<std::pair<double, std::shared_ptr<Timer::State>>> due;
    const AtEndOfScope done([&] { // Those after one whose action threw.
        for (const auto& [dueAt, timer] : due)
            schedule(timer, dueAt);
    });
    while (!timers.empty() && timers.begin()->first.first <= now) {
        const auto node = timers.extract(timers.begin());
        if (auto timer = node.mapped().lock())
            due.emplace_back(node.key().first, std::move(timer));
    }
    while (!due.empty()) {
        const auto [dueAt, timer] = std::move(due.front());
        due.pop_front();
        if (timer->callback.ended)
            continue;
        if (timer->repeats) {
            // A loop that was busy for several intervals fires once and goes on from there.
            const double next = dueAt + timer->interval;
            schedule(timer, next > now ? next : now + timer->interval);
            timer->callback.call();
        } else {
            const AtEndOfScope fired([&timer = *timer] { timer.callback.end(); });
            timer->callback.call();
        }
    }
}

Timer::Timer(std::shared_ptr<State> state) : state_(std::move(state)) { }

Timer::~Timer()
{
    invalidate();
}

std::unique_ptr<Timer> Timer::schedule(double seconds, Repeats repeats, MainLoop::Work action)
{
    MainLoop& loop = MainLoop::main();
    loop.assertLoopThread();
    auto state = std::make_shared<State>(std::move(action));
    state->interval = Pace::of(seconds).count();
    state->repeats = repeats == Repeats::Yes;
    loop.state().schedule(state, monotonicSeconds() + state->interval);
    return std::unique_ptr<Timer>(new Timer(std::move(state)));
}

std::unique_ptr<Timer> Timer::unscheduled([[maybe_unused]] double seconds, MainLoop::Work action)
{
    return std::unique_ptr<Timer>(new Timer(std::make_shared<State>(std::move(action))));
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
