#pragma once

#include <chrono>

namespace platform {

using Seconds = std::chrono::duration<double>;

// The one seam through which tests shorten intervals that are long in real life: every timer and every poll
// of the system takes its interval from here. Any thread.
class Pace {
public:
    // The interval to wait: `seconds` times the factor.
    static Seconds of(double seconds);
    static void setFactor(double factor); // 1 unless a test says otherwise.
};

// Sleeps for Pace::of(seconds). Worker threads only: the main thread waits in its loop.
void sleepFor(double seconds);

// Seconds on a clock that never goes back, from an arbitrary origin. Not subject to Pace.
double monotonicSeconds();
// Seconds that this machine has been asleep, from an arbitrary origin: timers don't count them. Any thread.
double secondsAsleep();
void addSecondsAsleep(double seconds); // For tests.

} // namespace platform
