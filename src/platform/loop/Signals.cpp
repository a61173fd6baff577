#include "platform/loop/Signals.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <unistd.h>

namespace platform::signals {

namespace {

constexpr int kSignalCount = NSIG;

struct Watched {
    int watches = 0;
    struct sigaction former { };
};

// The two that the handler touches. It may interrupt any thread; lock-free atomics are safe there.
std::array<std::atomic<int>, kSignalCount> counts{};
std::atomic<int> wakeDescriptorOfLoop = -1;
static_assert(std::atomic<int>::is_always_lock_free);

std::array<Watched, kSignalCount> watched; // The loop's thread alone.

void countSignal(int signalNumber)
{
    const int savedError = errno;
    ++counts[static_cast<std::size_t>(signalNumber)];
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(wakeDescriptorOfLoop, &one, sizeof one);
    errno = savedError;
}

bool isIgnored(const struct sigaction& action)
{
    return (action.sa_flags & SA_SIGINFO) == 0 && action.sa_handler == SIG_IGN;
}

} // namespace

bool beginWatching(int signalNumber, int wakeDescriptor)
{
    if (signalNumber <= 0 || signalNumber >= kSignalCount)
        return false;
    Watched& entry = watched[static_cast<std::size_t>(signalNumber)];
    if (entry.watches == 0) {
        wakeDescriptorOfLoop = wakeDescriptor;
        counts[static_cast<std::size_t>(signalNumber)] = 0;
        struct sigaction action { };
        action.sa_handler = countSignal;
        action.sa_flags = SA_RESTART;
        sigemptyset(&action.sa_mask);
        if (sigaction(signalNumber, nullptr, &entry.former) != 0 || isIgnored(entry.former)
            || sigaction(signalNumber, &action, nullptr) != 0)
            return false;
    }
    ++entry.watches;
    return true;
}

void endWatching(int signalNumber)
{
    Watched& entry = watched[static_cast<std::size_t>(signalNumber)];
    if (--entry.watches == 0)
        sigaction(signalNumber, &entry.former, nullptr);
}

int takeCount(int signalNumber)
{
    return counts[static_cast<std::size_t>(signalNumber)].exchange(0);
}

} // namespace platform::signals
