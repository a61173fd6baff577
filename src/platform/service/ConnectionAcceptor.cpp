#include "platform/service/ConnectionAcceptor.h"

#include <utility>

namespace platform {

namespace {

constexpr double kPauseWithoutDescriptors = 0.5; // Seconds.

} // namespace

ConnectionAcceptor::ConnectionAcceptor(
    int listening, std::function<servicesockets::Accepted()> accept, std::function<void(Descriptor)> take)
    : listening_(listening), accept_(std::move(accept)), take_(std::move(take))
{
    listen();
}

void ConnectionAcceptor::listen()
{
    watch_ = MainLoop::main().watchReadable(listening_, [this] { acceptAll(); });
}

void ConnectionAcceptor::acceptAll()
{
    using Next = servicesockets::Accepted::Next;
    const std::weak_ptr<bool> alive = isAlive_;
    const auto take = take_; // This object may go meanwhile.
    Next next = Next::AskAgain;
    while (next == Next::AskAgain) {
        auto accepted = accept_();
        next = accepted.next;
        if (accepted.socket)
            take(std::move(accepted.socket));
        if (alive.expired())
            return;
    }
    if (next != Next::OutOfDescriptors)
        return;
    // Out of descriptors: stop accepting for a while, else the loop spins.
    watch_.reset();
    pause_ = Timer::schedule(kPauseWithoutDescriptors, Timer::Repeats::No, [this] { listen(); });
}

} // namespace platform
