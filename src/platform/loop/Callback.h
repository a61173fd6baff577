#pragma once

#include <functional>
#include <utility>

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

// A handler of the main loop, and whether it may be called. Its owner may end it while it is being called:
// the function object lives until the call returns.
struct Callback {
    explicit Callback(std::function<void()> handler) : work(std::move(handler)) { }
    // Calls the handler unless it has ended, or is being called already: a handler that runs the loop itself
    // is not entered a second time.
    void call();
    void end();
    bool isReady() const { return !ended && !isBeingCalled; }

    std::function<void()> work;
    bool ended = false;
    bool isBeingCalled = false;
};

// The part of a Timer that the loop sees.
struct TimerState {
    explicit TimerState(std::function<void()> action) : callback(std::move(action)) { }
    Callback callback;
    double interval = 0; // Seconds, after Pace.
    bool repeats = false;
};

} // namespace platform
