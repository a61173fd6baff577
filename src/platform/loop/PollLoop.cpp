#include "platform/loop/PollLoop.h"

#include <poll.h>

namespace platform {

namespace {

timespec toTimespec(double seconds)
{
    timespec result{};
    result.tv_sec = static_cast<time_t>(seconds);
    result.tv_nsec = static_cast<long>((seconds - static_cast<double>(result.tv_sec)) * 1e9);
    return result;
}

} // namespace

void PollLoop::wait(double seconds)
{
    pollfd polled{readyDescriptor(), POLLIN, 0};
    const timespec limit = toTimespec(seconds);
    ::ppoll(&polled, 1, &limit, nullptr); // An interruption by a signal is one more turn.
}

} // namespace platform
