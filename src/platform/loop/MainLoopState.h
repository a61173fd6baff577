#pragma once

// The inside of the main loop, for the files that make it up.

#include "platform/files/Descriptor.h"
#include "platform/loop/MainLoop.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace platform {

// Does its work when it goes out of scope, by an exception as well.
template <typename Work>
struct AtEndOfScope {
    explicit AtEndOfScope(Work atEnd) : work(std::move(atEnd)) { }
    ~AtEndOfScope() { work(); }
    AtEndOfScope(const AtEndOfScope&) = delete;
    AtEndOfScope& operator=(const AtEndOfScope&) = delete;
    Work work;
};

// A handler and whether it may be called. It stays alive while it is being called, though its owner lets go
// of it meanwhile.
struct Callback {
    explicit Callback(MainLoop::Work handler) : work(std::move(handler)) { }
    // Calls the handler unless it has ended, or is being called already: a handler that runs the loop itself
    // is not entered a second time.
    void call();
    void end();
    bool isReady() const { return !ended && !isBeingCalled; }

    MainLoop::Work work;
    bool ended = false;
    bool isBeingCalled = false;
};

struct Timer::State {
    explicit State(MainLoop::Work action) : callback(std::move(action)) { }
    Callback callback;
    double interval = 0; // Seconds, after Pace.
    bool repeats = false;
};

struct MainLoop::State {
    // A worker inside postAndWait().
    struct Waiter {
        std::mutex mutex;
        std::condition_variable changed;
        bool done = false;
        void release();
    };
    struct Posted {
        std::uint64_t number = 0;
        Work work;
        std::shared_ptr<Waiter> waiter; // Null for work that nobody waits for.
    };
    struct DescriptorWatch {
        int descriptor = -1;
        short events = 0; // Of poll().
        Callback handler;
    };
    struct SignalWatch {
        int signalNumber = 0;
        Callback handler;
        int undelivered = 0;
    };
    using TimerKey = std::pair<double, std::uint64_t>; // When it is due; the order of scheduling.

    State();

    void post(Work, std::shared_ptr<Waiter>);
    void wake() const;
    bool hasWork();
    // Does the first piece of posted work, if its number is not beyond the last one told.
    bool doOneWork(std::uint64_t last = UINT64_MAX);
    std::uint64_t lastPostedNumber();
    bool hasWaiters();

    // Waits at most that long for something to be ready, then serves watches and timers once.
    void serveWatchesAndTimers(double longestWait);
    void schedule(const std::shared_ptr<Timer::State>&, double due);
    void fireTimers();
    void deliverSignals();

    const std::thread::id owner = std::this_thread::get_id();
    Descriptor wakeEvent;
    std::atomic<bool> stopRequested = false;

    std::mutex mutex; // Guards the three below; all else belongs to the loop's thread.
    std::deque<Posted> posted;
    std::uint64_t postedCount = 0;
    int waitersInQueue = 0;

    std::map<TimerKey, std::weak_ptr<Timer::State>> timers;
    std::uint64_t scheduledCount = 0;
    std::vector<std::shared_ptr<DescriptorWatch>> descriptorWatches;
    std::vector<std::shared_ptr<SignalWatch>> signalWatches;
};

// Signals that were sent since the last look, counted by number by a handler that does nothing else but wake
// the loop.
namespace signals {

bool beginWatching(int signalNumber, int wakeDescriptor);
void endWatching(int signalNumber);
int takeCount(int signalNumber);

} // namespace signals
} // namespace platform
