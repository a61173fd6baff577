#include "ssh/session/SharedConnection.h"

#include "ssh/crypto/Wire.h"
#include "ssh/transport/Messages.h"

#include <algorithm>
#include <exception>
#include <poll.h>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>

namespace ssh {

namespace {

constexpr std::chrono::hours kLongWait{1}; // For poll, when nothing is due.

} // namespace

Result<std::shared_ptr<SharedConnection>> SharedConnection::over(
    SshTransport& transport, std::shared_ptr<void> owner, const SharedLimits& limits)
{
    if (!transport.authenticated() || !transport.connected())
        return Error{"Only a connection with a user logged in can be shared."};
    try {
        return std::shared_ptr<SharedConnection>(new SharedConnection(transport, std::move(owner), limits));
    } catch (const std::system_error& error) {
        return Error{std::string("There is no thread for a shared connection: ") + error.what()};
    }
}

SharedConnection::SharedConnection(
    SshTransport& transport, std::shared_ptr<void> owner, const SharedLimits& limits)
    : limits_(limits), owner_(std::move(owner)), transport_(transport),
      serverVersion_(transport_.serverVersion()), socket_(transport_.descriptor()),
      wakeEvent_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), unusedSince_(Clock::now())
{
    transport_.channels().setElsewhere(
        [this](std::uint32_t number, ByteView payload) { return dispatch(number, payload); });
    thread_ = std::thread([this] { serve(); });
}

SharedConnection::~SharedConnection()
{
    {
        const std::lock_guard guard(lock_);
        isEnding_ = true;
        wake();
    }
    thread_.join();
}

bool SharedConnection::isAlive() const
{
    const std::lock_guard guard(lock_);
    return !failure_ && !isGivenUp_;
}

bool SharedConnection::hasEnded() const
{
    const std::lock_guard guard(lock_);
    return failure_.has_value();
}

void SharedConnection::setHeld(bool isHeld)
{
    const std::lock_guard guard(lock_);
    isHeld_ = isHeld;
    unusedSince_ = Clock::now();
    wake(); // It may have nothing to do for an hour, and is due earlier now.
}

void SharedConnection::join()
{
    const std::lock_guard guard(lock_);
    ++sessions_;
}

void SharedConnection::leave(Inbox& inbox)
{
    const std::lock_guard guard(lock_);
    for (auto route = routes_.begin(); route != routes_.end();) {
        if (route->second.inbox == &inbox) {
            route->second.inbox = nullptr;
            if (route->second.state != Route::State::Opening)
                (void)closeRoute(route->second); // A connection that fails now is noticed by its thread.
        }
        const bool isOver = !route->second.inbox && route->second.state == Route::State::Closed;
        route = isOver ? routes_.erase(route) : std::next(route);
    }
    --sessions_;
    unusedSince_ = Clock::now();
    wake();
}

Status SharedConnection::closeRoute(Route& route)
{
    if (failure_ || std::exchange(route.closeSent, true))
        return {};
    return transport_.channels().relay(WireWriter(message::kChannelClose).uint32(route.remoteNumber), {});
}

std::uint32_t SharedConnection::newChannel(Inbox& inbox)
{
    const std::lock_guard guard(lock_);
    routes_[nextNumber_].inbox = &inbox;
    return nextNumber_++;
}

Status SharedConnection::send(ByteView head, ByteView body)
{
    const std::lock_guard guard(lock_);
    if (failure_)
        return *failure_;
    if (WireReader reader(head); reader.byte() == message::kChannelClose)
        noteClose(reader.uint32());
    Status sent = transport_.channels().relay(head, body);
    wake();
    return sent;
}

void SharedConnection::noteClose(std::uint32_t remoteNumber)
{
    for (auto& [number, route] : routes_)
        if (route.remoteNumber == remoteNumber && route.state != Route::State::Opening)
            route.closeSent = true;
}

std::size_t SharedConnection::unsent() const
{
    const std::lock_guard guard(lock_);
    return failure_ ? 0 : transport_.unsent();
}

Deadline SharedConnection::lastLife() const
{
    const std::lock_guard guard(lock_);
    return transport_.lastLife();
}

void SharedConnection::giveUp()
{
    const std::lock_guard guard(lock_);
    isGivenUp_ = true;
}

void SharedConnection::fail(const Error& error)
{
    const std::lock_guard guard(lock_);
    end(error);
    wake();
}

void SharedConnection::end(const Error& error)
{
    if (!failure_)
        failure_ = error;
    ++moves_;
    moved_.notify_all();
}

std::uint64_t SharedConnection::take(Inbox& inbox, Bytes& into)
{
    into.clear();
    const std::lock_guard guard(lock_);
    std::swap(inbox.messages, into);
    return moves_;
}

Result<SharedConnection::Event> SharedConnection::wait(
    Inbox& inbox, std::uint64_t since, Deadline until, bool keepsAlive, std::chrono::milliseconds silence)
{
    std::unique_lock guard(lock_);
    for (;;) {
        if (!inbox.messages.empty())
            return Event::Moved;
        if (failure_)
            return *failure_;
        if (moves_ != since)
            return Event::Moved;
        const Deadline now = Clock::now();
        if (now >= until)
            return Event::TimedOut;
        const Deadline life = transport_.lastLife();
        const Deadline probe = std::max(life, inbox.lastProbe) + silence / 2;
        if (keepsAlive && now >= probe) {
            if (inbox.lastProbe > life) {
                isGivenUp_ = true;
                return Error{"The server was silent for " + std::to_string(silence.count())
                    + " ms, the idle time limit, and doesn't answer."};
            }
            inbox.lastProbe = now;
            if (const Status sent = transport_.sendKeepAlive(); !sent.ok())
                return sent.error();
            wake();
            continue;
        }
        moved_.wait_until(guard, keepsAlive ? std::min(until, probe) : until);
    }
}

// Called by the transport, on the thread of the connection.
Status SharedConnection::dispatch(std::uint32_t number, ByteView payload)
{
    const auto found = routes_.find(number);
    if (found == routes_.end() || found->second.state == Route::State::Closed)
        return Error{"The server sent a message for a channel that isn't there."};
    Route& route = found->second;
    WireReader reader(payload.subspan(5)); // Behind the kind of message and the channel.
    Status status;
    switch (payload[0]) {
    case message::kChannelOpenConfirmation:
        route.remoteNumber = reader.uint32();
        route.state = Route::State::Open;
        if (!route.inbox)
            status = closeRoute(route);
        break;
    case message::kChannelOpenFailure:
        route.closeSent = true; // There is nothing to close.
        [[fallthrough]];
    case message::kChannelClose:
        route.state = Route::State::Closed;
        break;
    default:
        break;
    }
    if (!route.inbox) {
        if (route.state == Route::State::Closed)
            routes_.erase(found);
        return status;
    }
    Bytes& messages = route.inbox->messages;
    if (messages.size() + payload.size() > route.inbox->limit)
        return Error{"The server sent more than the channel's window allows."};
    append(messages, WireWriter().uint32(static_cast<std::uint32_t>(payload.size())));
    append(messages, payload);
    return status;
}

void SharedConnection::wake()
{
    const std::uint64_t one = 1;
    if (!std::exchange(isWoken_, true))
        (void)!::write(wakeEvent_.get(), &one, sizeof one); // A full counter wakes the thread as well.
}

Deadline SharedConnection::nextWork() const
{
    Deadline next = std::max(transport_.lastLife(), lastProbe_) + limits_.probe;
    if (sessions_ == 0 && !isHeld_)
        next = std::min(next, unusedSince_ + limits_.unused);
    return next;
}

Status SharedConnection::work()
{
    if (isEnding_)
        return Error{"The connection isn't used any more."};
    if (Status moved = transport_.moveWithoutWaiting(); !moved.ok())
        return moved;
    const Deadline now = Clock::now();
    if (sessions_ == 0 && !isHeld_ && now >= unusedSince_ + limits_.unused)
        return Error{"The connection was not used for a while."};
    if (now < std::max(transport_.lastLife(), lastProbe_) + limits_.probe)
        return {};
    if (lastProbe_ > transport_.lastLife())
        return Error{"The server doesn't answer."};
    lastProbe_ = now;
    return transport_.sendKeepAlive();
}

void SharedConnection::waitForSocket(bool writes, Deadline until) const
{
    pollfd polled[] = {
        {socket_, static_cast<short>(POLLIN | (writes ? POLLOUT : 0)), 0}, {wakeEvent_.get(), POLLIN, 0}};
    const auto left = std::clamp<Clock::duration>(until - Clock::now(), Clock::duration::zero(), kLongWait);
    const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(left).count();
    (void)::poll(polled, std::size(polled), static_cast<int>(milliseconds));
    std::uint64_t count = 0;
    (void)!::read(wakeEvent_.get(), &count, sizeof count);
}

void SharedConnection::serve()
{
    std::unique_lock guard(lock_);
    while (!failure_) {
        const bool writes = transport_.hasToSend();
        const Deadline until = nextWork();
        guard.unlock();
        waitForSocket(writes, until);
        guard.lock();
        isWoken_ = false;
        try {
            if (const Status status = work(); !status.ok())
                end(status.error());
        } catch (const std::exception& exception) {
            end(Error{std::string("Out of resources: ") + exception.what()});
        }
        ++moves_;
        moved_.notify_all();
    }
    transport_.channels().setElsewhere(nullptr);
    guard.unlock(); // Nobody else uses a connection that has failed.
    transport_.disconnect();
}

} // namespace ssh
