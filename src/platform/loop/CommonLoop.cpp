#include "platform/loop/CommonLoop.h"

#include "platform/loop/Signals.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace platform {

namespace {

// How long runUntil() waits at most between two looks at its condition.
constexpr double kLookInterval = 0.02;
// run() waits in steps of a day: without a condition the length doesn't matter, and no arithmetic overflows.
constexpr double kLongWait = 86400;

// The owner's end of a watch: destroying it ends the watch.
class OwnedWatch : public MainLoop::Watch {
public:
    explicit OwnedWatch(MainLoop::Work end) : end_(std::move(end)) { }
    ~OwnedWatch() override { end_(); }
    OwnedWatch(const OwnedWatch&) = delete;
    OwnedWatch& operator=(const OwnedWatch&) = delete;

private:
    MainLoop::Work end_;
};

void takeAll(int eventDescriptor)
{
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t taken = ::read(eventDescriptor, &count, sizeof count);
}

} // namespace

struct CommonLoop::SignalWatch {
    int signalNumber = 0;
    Callback handler;
    int undelivered = 0;
};

// Adds one to a counter for as long as it lives.
class CommonLoop::Inside {
public:
    explicit Inside(int& level) : level_(level) { ++level_; }
    ~Inside() { --level_; }
    Inside(const Inside&) = delete;
    Inside& operator=(const Inside&) = delete;

private:
    int& level_;
};

CommonLoop::CommonLoop()
    : wakeEvent_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      clock_(::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK))
{
    if (!wakeEvent_ || !clock_) {
        std::fputs("trelkind: the main loop can't have a descriptor to be woken through\n", stderr);
        std::abort();
    }
    descriptors_.join(wakeEvent_.get());
    descriptors_.join(clock_.get());
}

CommonLoop::~CommonLoop() = default;

void CommonLoop::wake() const
{
    const std::uint64_t one = 1;
    // The write fails only when the counter is full, and a full counter wakes too.
    [[maybe_unused]] const ssize_t written = ::write(wakeEvent_.get(), &one, sizeof one);
}

void CommonLoop::post(Work work)
{
    if (posted_.post(std::move(work)))
        wake();
}

void CommonLoop::postAndWait(Work work)
{
    if (!isLoopThread())
        posted_.postAndWait(std::move(work), [this] { wake(); });
    else if (work)
        work();
}

void CommonLoop::afterThisEvent(Work work)
{
    assertLoopThread();
    if (level() == 0 && eventDepth_ == 0)
        post(std::move(work));
    else if (work)
        afterEvent_.push_back(std::move(work));
}

void CommonLoop::run()
{
    assertLoopThread();
    const Inside loop(loops_);
    while (!takeStopRequest())
        turn(kLongWait);
}

void CommonLoop::stop()
{
    stopRequested_ = true;
    wake();
}

bool CommonLoop::runUntil(const std::function<bool()>& condition, double limitInSeconds)
{
    assertLoopThread();
    const Inside loop(loops_);
    const double end = monotonicSeconds() + limitInSeconds;
    while (!condition()) {
        const double left = end - monotonicSeconds();
        if (!(left > 0))
            return false;
        turn(std::min(left, kLookInterval));
    }
    return true;
}

void CommonLoop::runPending()
{
    assertLoopThread();
    const Inside loop(loops_);
    const std::uint64_t last = posted_.lastNumber();
    doWorkAfterEvent();
    wait(0);
    serveWatchesAndTimers();
    while (doOneWork(last)) { }
}

void CommonLoop::serveWaitersUntil(const std::function<bool()>& condition)
{
    assertLoopThread();
    const Inside event(eventDepth_); // The caller is on the stack: the end of its event has not come.
    while (!condition()) {
        if (posted_.hasWaiters())
            doOneWork();
        else
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

bool CommonLoop::isLoopThread() const
{
    return std::this_thread::get_id() == owner_;
}

void CommonLoop::turn(double longestWait)
{
    doWorkAfterEvent();
    wait(hasWork() ? 0 : longestWait);
    serveTurn();
}

void CommonLoop::serveTurn()
{
    bool done = false;
    const AtEndOfScope awake([&] {
        if (!done)
            wake(); // An exception leaves something undone that nothing else announces.
    });
    serveWatchesAndTimers();
    doOneWork();
    done = true;
}

void CommonLoop::serveWatchesAndTimers()
{
    takeAll(wakeEvent_.get());
    doWorkAfterEvent();
    descriptors_.serve([this](Callback& handler) { serveEvent([&handler] { handler.call(); }); });
    deliverSignals();
    fireTimers();
}

bool CommonLoop::doOneWork(std::uint64_t last)
{
    return posted_.serveFirst([this](const Work& work) { serveEvent(work); }, last);
}

void CommonLoop::serveEvent(const Work& event)
{
    {
        const Inside depth(eventDepth_);
        event();
    }
    doWorkAfterEvent();
}

void CommonLoop::doWorkAfterEvent()
{
    while (!afterEvent_.empty() && eventDepth_ == 0 && level() <= 1) {
        const Work work = std::move(afterEvent_.front());
        afterEvent_.pop_front();
        const Inside depth(eventDepth_);
        work();
    }
}

void CommonLoop::deliverSignals()
{
    if (signalWatches_.empty())
        return;
    const auto present = signalWatches_;
    std::map<int, int> counts;
    for (const auto& watch : present)
        if (!counts.contains(watch->signalNumber))
            counts[watch->signalNumber] = signals::takeCount(watch->signalNumber);
    for (const auto& watch : present)
        watch->undelivered += counts[watch->signalNumber];
    for (const auto& watch : present)
        while (watch->undelivered > 0) {
            --watch->undelivered;
            serveEvent([&watch] { watch->handler.call(); });
        }
}

void CommonLoop::schedule(const std::shared_ptr<TimerState>& timer, double due)
{
    timers_.emplace(TimerKey{due, ++scheduledCount_}, timer);
    armClock();
}

// Each timer is taken out when its turn comes and not before: an action that runs the loop itself leaves the
// others to that loop. What is scheduled meanwhile waits for the next turn, however short its interval is.
void CommonLoop::fireTimers()
{
    const double now = monotonicSeconds();
    const std::uint64_t last = scheduledCount_;
    while (!timers_.empty() && timers_.begin()->first.first <= now && timers_.begin()->first.second <= last) {
        const auto node = timers_.extract(timers_.begin());
        if (const auto timer = node.mapped().lock(); timer && !timer->callback.ended)
            fire(timer, node.key().first, now);
    }
    armClock();
}

void CommonLoop::fire(const std::shared_ptr<TimerState>& timer, double due, double now)
{
    if (timer->repeats) {
        // After several missed intervals the timer fires once and continues from now.
        const double next = due + timer->interval;
        schedule(timer, next > now ? next : now + timer->interval);
        serveEvent([&] { timer->callback.call(); });
    } else {
        serveEvent([&] {
            const AtEndOfScope fired([&] { timer->callback.end(); });
            timer->callback.call();
        });
    }
}

void CommonLoop::armClock()
{
    const double due = timers_.empty() ? 0 : timers_.begin()->first.first;
    if (due == clockIsSetTo_)
        return;
    clockIsSetTo_ = due;
    itimerspec setting{};
    const double wholeSeconds = std::floor(due);
    setting.it_value.tv_sec = static_cast<time_t>(wholeSeconds);
    setting.it_value.tv_nsec = static_cast<long>((due - wholeSeconds) * 1e9);
    ::timerfd_settime(clock_.get(), TFD_TIMER_ABSTIME, &setting, nullptr);
}

std::unique_ptr<MainLoop::Watch> CommonLoop::watchReadable(int descriptor, Work handler)
{
    return watch(descriptor, POLLIN, std::move(handler));
}

std::unique_ptr<MainLoop::Watch> CommonLoop::watchWritable(int descriptor, Work handler)
{
    return watch(descriptor, POLLOUT, std::move(handler));
}

std::unique_ptr<MainLoop::Watch> CommonLoop::watch(int descriptor, short events, Work handler)
{
    assertLoopThread();
    const auto watch = descriptors_.add(descriptor, events, std::move(handler));
    if (!watch)
        return nullptr;
    return std::make_unique<OwnedWatch>([this, watch] {
        assertLoopThread();
        descriptors_.remove(watch);
    });
}

std::unique_ptr<MainLoop::Watch> CommonLoop::watchSignal(int signalNumber, Work handler)
{
    assertLoopThread();
    if (!signals::beginWatching(signalNumber, wakeEvent_.get()))
        return nullptr;
    const auto watch =
        std::make_shared<SignalWatch>(SignalWatch{signalNumber, Callback(std::move(handler)), 0});
    signalWatches_.push_back(watch);
    return std::make_unique<OwnedWatch>([this, watch] {
        assertLoopThread();
        watch->handler.end();
        std::erase(signalWatches_, watch);
        signals::endWatching(watch->signalNumber);
    });
}

} // namespace platform
