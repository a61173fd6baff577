#include "platform/loop/MainLoop.h"

#include "platform/loop/MainLoopState.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace platform {

namespace {

// How long runUntil() waits at most between two looks at its condition.
constexpr double kLookInterval = 0.02;
// run() has no condition; a day is as good as for ever, and no clock's arithmetic overflows.
constexpr double kLongWait = 86400;

std::atomic<MainLoop*> theLoop = nullptr;

timespec toTimespec(double seconds)
{
    timespec result{};
    result.tv_sec = static_cast<time_t>(seconds);
    result.tv_nsec = static_cast<long>((seconds - static_cast<double>(result.tv_sec)) * 1e9);
    return result;
}

// Ends a watch of the loop when its owner lets go of it.
class OwnedWatch : public MainLoop::Watch {
public:
    explicit OwnedWatch(MainLoop::Work end) : end_(std::move(end)) { }
    ~OwnedWatch() override { end_(); }
    OwnedWatch(const OwnedWatch&) = delete;
    OwnedWatch& operator=(const OwnedWatch&) = delete;

private:
    MainLoop::Work end_;
};

} // namespace

void Callback::call()
{
    if (!isReady() || !work)
        return;
    isBeingCalled = true;
    const AtEndOfScope done([this] {
        isBeingCalled = false;
        if (ended)
            work = nullptr;
    });
    work();
}

void Callback::end()
{
    ended = true;
    if (!isBeingCalled)
        work = nullptr;
}

void MainLoop::State::Waiter::release()
{
    const std::lock_guard lock(mutex);
    done = true;
    changed.notify_one(); // Inside the lock: the waiter is gone as soon as it sees the flag.
}

MainLoop::State::State() : wakeEvent(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (!wakeEvent) {
        std::fputs("trelkind: the main loop can't have a descriptor to be woken through\n", stderr);
        std::abort();
    }
}

void MainLoop::State::wake() const
{
    const std::uint64_t one = 1;
    // A counter that is full wakes as well.
    [[maybe_unused]] const ssize_t written = ::write(wakeEvent.get(), &one, sizeof one);
}

void MainLoop::State::post(Work work, std::shared_ptr<Waiter> waiter)
{
    const std::lock_guard lock(mutex);
    const bool loopMayBeWaiting = posted.empty();
    waitersInQueue += waiter ? 1 : 0;
    posted.push_back({++postedCount, std::move(work), std::move(waiter)});
    if (loopMayBeWaiting)
        wake();
}

bool MainLoop::State::hasWork()
{
    const std::lock_guard lock(mutex);
    return !posted.empty();
}

std::uint64_t MainLoop::State::lastPostedNumber()
{
    const std::lock_guard lock(mutex);
    return postedCount;
}

bool MainLoop::State::hasWaiters()
{
    const std::lock_guard lock(mutex);
    return waitersInQueue > 0;
}

bool MainLoop::State::doOneWork(std::uint64_t last)
{
    Posted next;
    {
        const std::lock_guard lock(mutex);
        if (posted.empty() || posted.front().number > last)
            return false;
        next = std::move(posted.front());
        posted.pop_front();
        waitersInQueue -= next.waiter ? 1 : 0;
    }
    const AtEndOfScope done([&next] {
        next.work = nullptr; // What it refers to may be on the stack of the worker that is let go now.
        if (next.waiter)
            next.waiter->release();
    });
    if (next.work)
        next.work();
    return true;
}

void MainLoop::State::serveWatchesAndTimers(double longestWait)
{
    double wait = hasWork() ? 0 : longestWait;
    if (!timers.empty())
        wait = std::clamp(timers.begin()->first.first - monotonicSeconds(), 0.0, wait);

    std::vector<std::shared_ptr<DescriptorWatch>> watched;
    std::vector<pollfd> polled = {{wakeEvent.get(), POLLIN, 0}};
    for (const auto& watch : descriptorWatches) {
        if (!watch->handler.isReady())
            continue;
        watched.push_back(watch);
        polled.push_back({watch->descriptor, watch->events, 0});
    }
    const timespec limit = toTimespec(wait);
    if (ppoll(polled.data(), polled.size(), &limit, nullptr) > 0) {
        if (polled[0].revents != 0) {
            std::uint64_t count = 0;
            [[maybe_unused]] const ssize_t taken = ::read(wakeEvent.get(), &count, sizeof count);
        }
        for (std::size_t index = 0; index < watched.size(); ++index) {
            const short events = polled[index + 1].revents;
            if ((events & POLLNVAL) != 0)
                watched[index]->handler.end(); // Its owner closed it; waiting on it would only spin.
            else if (events != 0)
                watched[index]->handler.call();
        }
    }
    deliverSignals();
    fireTimers();
}

void MainLoop::State::deliverSignals()
{
    if (signalWatches.empty())
        return;
    const auto present = signalWatches;
    std::map<int, int> counts;
    for (const auto& watch : present)
        if (!counts.contains(watch->signalNumber))
            counts[watch->signalNumber] = signals::takeCount(watch->signalNumber);
    for (const auto& watch : present)
        watch->undelivered += counts[watch->signalNumber];
    for (const auto& watch : present)
        while (watch->undelivered > 0) {
            --watch->undelivered;
            watch->handler.call();
        }
}

MainLoop& MainLoop::main()
{
    static MainLoop* const loop = [] {
        auto* made = new MainLoop; // Never destroyed: workers may post until the process ends.
        theLoop = made;
        return made;
    }();
    return *loop;
}

bool MainLoop::runsOnThisThread()
{
    const MainLoop* loop = theLoop;
    return loop && loop->isLoopThread();
}

MainLoop::MainLoop() : state_(std::make_unique<State>()) { }

MainLoop::~MainLoop() = default;

void MainLoop::post(Work work)
{
    state_->post(std::move(work), nullptr);
}

void MainLoop::postAndWait(Work work)
{
    if (isLoopThread()) {
        if (work)
            work();
        return;
    }
    const auto waiter = std::make_shared<State::Waiter>();
    state_->post(std::move(work), waiter);
    std::unique_lock lock(waiter->mutex);
    waiter->changed.wait(lock, [&] { return waiter->done; });
}

void MainLoop::run()
{
    assertLoopThread();
    while (!state_->stopRequested.exchange(false)) {
        state_->serveWatchesAndTimers(kLongWait);
        state_->doOneWork();
    }
}

void MainLoop::stop()
{
    state_->stopRequested = true;
    state_->wake();
}

bool MainLoop::runUntil(const std::function<bool()>& condition, double limitInSeconds)
{
    assertLoopThread();
    const double end = monotonicSeconds() + limitInSeconds;
    while (!condition()) {
        const double left = end - monotonicSeconds();
        if (!(left > 0))
            return false;
        state_->serveWatchesAndTimers(std::min(left, kLookInterval));
        state_->doOneWork();
    }
    return true;
}

void MainLoop::runPending()
{
    assertLoopThread();
    const std::uint64_t last = state_->lastPostedNumber();
    state_->serveWatchesAndTimers(0);
    while (state_->doOneWork(last)) { }
}

void MainLoop::serveWaitersUntil(const std::function<bool()>& condition)
{
    assertLoopThread();
    while (!condition()) {
        if (state_->hasWaiters())
            state_->doOneWork();
        else
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

bool MainLoop::isLoopThread() const
{
    return std::this_thread::get_id() == state_->owner;
}

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

std::unique_ptr<MainLoop::Watch> MainLoop::watchReadable(int descriptor, Work handler)
{
    return watch(descriptor, POLLIN, std::move(handler));
}

std::unique_ptr<MainLoop::Watch> MainLoop::watchWritable(int descriptor, Work handler)
{
    return watch(descriptor, POLLOUT, std::move(handler));
}

std::unique_ptr<MainLoop::Watch> MainLoop::watch(int descriptor, short events, Work handler)
{
    assertLoopThread();
    const auto watch = std::make_shared<State::DescriptorWatch>(
        State::DescriptorWatch{descriptor, events, Callback(std::move(handler))});
    state_->descriptorWatches.push_back(watch);
    return std::make_unique<OwnedWatch>([this, watch] {
        assertLoopThread();
        watch->handler.end();
        std::erase(state_->descriptorWatches, watch);
    });
}

std::unique_ptr<MainLoop::Watch> MainLoop::watchSignal(int signalNumber, Work handler)
{
    assertLoopThread();
    if (!signals::beginWatching(signalNumber, state_->wakeEvent.get()))
        return nullptr;
    const auto watch = std::make_shared<State::SignalWatch>(
        State::SignalWatch{signalNumber, Callback(std::move(handler)), 0});
    state_->signalWatches.push_back(watch);
    return std::make_unique<OwnedWatch>([this, watch] {
        assertLoopThread();
        watch->handler.end();
        std::erase(state_->signalWatches, watch);
        signals::endWatching(watch->signalNumber);
    });
}

} // namespace platform
