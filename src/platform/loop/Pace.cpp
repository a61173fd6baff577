#include "platform/loop/Pace.h"

#include <algorithm>
#include <atomic>
#include <ctime>
#include <thread>

namespace platform {

namespace {

std::atomic<double> factor = 1;
std::atomic<double> addedSleep = 0;

// Longer than any real interval, and short enough that no clock arithmetic overflows.
constexpr double kLongest = 1e9;

double secondsOf(clockid_t clock)
{
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

} // namespace

Seconds Pace::of(double seconds)
{
    const double paced = seconds * factor.load();
    // A NaN fails the comparison and becomes 0.
    return Seconds(paced > 0 ? std::min(paced, kLongest) : 0);
}

void Pace::setFactor(double newFactor)
{
    factor = newFactor;
}

void sleepFor(double seconds)
{
    std::this_thread::sleep_for(Pace::of(seconds));
}

double monotonicSeconds()
{
    return secondsOf(CLOCK_MONOTONIC);
}

double secondsAsleep()
{
    return secondsOf(CLOCK_BOOTTIME) - secondsOf(CLOCK_MONOTONIC) + addedSleep.load();
}

void addSecondsAsleep(double seconds)
{
    addedSleep = addedSleep.load() + seconds;
}

} // namespace platform
