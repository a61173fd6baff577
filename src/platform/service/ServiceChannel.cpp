#include "platform/service/ServiceChannel.h"

#include "platform/loop/Pace.h"
#include "platform/service/ServiceSockets.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <poll.h>
#include <sys/socket.h>

namespace platform {

namespace {

constexpr std::size_t kReadStep = std::size_t{64} << 10;
constexpr int kReadsAtOnce = 16; // Then other watches get their turn.
// While this side sends, it reads as well, so that the two don't wait for each other; but no more than this.
constexpr std::size_t kMostBytesWaiting = 2 * std::size_t{kLargestServiceMessage};
// What is kept for a peer that takes nothing for a while.
constexpr std::size_t kMostBytesUnsent = std::size_t{16} << 20;

} // namespace

void ServiceChannel::begin(Descriptor connected)
{
    socket_ = std::move(connected);
    readWatch_ = MainLoop::main().watchReadable(socket_.get(), [weak = weak_from_this()] {
        if (const auto self = weak.lock())
            self->onReadable();
    });
}

void ServiceChannel::beginConnecting(
    std::string name, double limitInSeconds, std::function<void(Status)> whenConnected)
{
    connecting_ = std::make_unique<Connecting>(
        Connecting{std::move(name), monotonicSeconds() + limitInSeconds, std::move(whenConnected), nullptr});
    MainLoop::main().post([weak = weak_from_this()] {
        if (const auto self = weak.lock())
            self->tryToConnect();
    });
}

void ServiceChannel::tryToConnect()
{
    if (!connecting_)
        return;
    auto socket = servicesockets::connect(connecting_->name);
    if (socket && !*socket && monotonicSeconds() < connecting_->end) {
        connecting_->nextTry = Timer::schedule(
            servicesockets::kSecondsBetweenTries, Timer::Repeats::No, [weak = weak_from_this()] {
                if (const auto self = weak.lock())
                    self->tryToConnect();
            });
        return;
    }
    const auto self = shared_from_this(); // The function may drop the connection.
    const auto ended = std::move(connecting_);
    Status status;
    if (!socket)
        status = socket.error();
    else if (!*socket)
        status = Error{"the service " + ended->name + " lets nobody in"};
    if (status) {
        begin(std::move(*socket));
        writeUnsent();
    } else {
        unsent_.clear();
    }
    if (ended->whenConnected)
        ended->whenConnected(status);
}

void ServiceChannel::invalidate()
{
    isInvalid_ = true;
    connecting_.reset();
    readWatch_.reset();
    writeWatch_.reset();
    socket_.reset();
    handler = nullptr;
    whenPeerDies = nullptr;
}

void ServiceChannel::onReadable()
{
    readAvailable();
    deliver();
}

void ServiceChannel::readAvailable()
{
    std::string buffer(kReadStep, '\0');
    for (int round = 0; socket_ && round < kReadsAtOnce; ++round) {
        const ssize_t count =
            retryInterrupted([&] { return ::recv(socket_.get(), buffer.data(), buffer.size(), 0); });
        if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            return;
        // A peer that sends anything but messages counts as gone.
        if (count <= 0 || !reader_.append({buffer.data(), static_cast<std::size_t>(count)}))
            return peerHasGone();
    }
}

void ServiceChannel::peerHasGone()
{
    if (!socket_)
        return;
    readWatch_.reset();
    writeWatch_.reset();
    socket_.reset();
    // Posted behind any delivery of its earlier messages.
    MainLoop::main().post([weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self || self->isInvalid_)
            return;
        self->deliver();
        if (const auto tell = std::exchange(self->whenPeerDies, nullptr))
            tell();
    });
}

void ServiceChannel::deliver()
{
    const auto self = shared_from_this(); // A handler may drop the connection.
    while (!isInvalid_) {
        auto message = reader_.next();
        if (!message)
            return;
        dispatch(*message);
    }
}

void ServiceChannel::deliverLater()
{
    MainLoop::main().post([weak = weak_from_this()] {
        if (const auto self = weak.lock())
            self->deliver();
    });
}

void ServiceChannel::dispatch(ServiceMessage& message)
{
    if (message.kind == ServiceMessage::Kind::Reply) {
        // No entry: the call has given up waiting.
        if (const auto waiting = awaited_.find(message.number); waiting != awaited_.end())
            waiting->second = std::move(message.content);
        return;
    }
    const ServiceHandler serve = handler; // It may set another one.
    Value result = serve ? serve(message.operation, message.content) : Value();
    if (message.kind != ServiceMessage::Kind::Call || !socket_)
        return;
    send({ServiceMessage::Kind::Reply, message.number, {}, std::move(result)});
}

void ServiceChannel::writeUnsent()
{
    while (socket_ && unsentBytes() > 0) {
        const ssize_t count = retryInterrupted([&] {
            return ::send(
                socket_.get(), unsent_.data() + unsentStart_, unsentBytes(), MSG_NOSIGNAL | MSG_DONTWAIT);
        });
        if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            break;
        if (count < 0) {
            readAvailable(); // Its last messages.
            return peerHasGone();
        }
        unsentStart_ += static_cast<std::size_t>(count);
    }
    // The queue is moved only when half of it has been sent: moving it for each piece would be quadratic.
    if (unsentStart_ > unsent_.size() / 2)
        unsent_.erase(0, std::exchange(unsentStart_, 0));
    if (!socket_ || unsentBytes() == 0)
        writeWatch_.reset();
    else if (!writeWatch_)
        writeWatch_ = MainLoop::main().watchWritable(socket_.get(), [weak = weak_from_this()] {
            if (const auto self = weak.lock())
                self->writeUnsent();
        });
}

bool ServiceChannel::serveUntil(double end)
{
    const double left = end - monotonicSeconds();
    if (!(left > 0))
        return false;
    short events = unsentBytes() > 0 ? POLLOUT : 0;
    // A peer that sends without reading must not fill the memory. Its reply may follow what it has sent.
    if (events == 0 || reader_.bytesWaiting() < kMostBytesWaiting)
        events |= POLLIN;
    pollfd polled{socket_.get(), events, 0};
    ::poll(&polled, 1, static_cast<int>(std::ceil(std::min(left, 3600.0) * 1000)));
    if ((polled.revents & (POLLIN | POLLHUP | POLLERR)) != 0)
        readAvailable();
    writeUnsent();
    return true;
}

ServiceFailure ServiceChannel::send(const ServiceMessage& message)
{
    if (!socket_ && !connecting_)
        return Failure::NotConnected;
    const auto encoded = encode(message);
    if (!encoded)
        return Failure::TimeLimit;
    if (unsentBytes() > 0 && encoded->size() > kMostBytesUnsent - std::min(unsentBytes(), kMostBytesUnsent)) {
        peerHasGone();
        return Failure::TimeLimit;
    }
    unsent_ += *encoded;
    if (connecting_)
        return Failure::None;
    writeUnsent();
    if (reader_.bytesWaiting() > 0)
        deliverLater();
    return socket_ ? Failure::None : Failure::PeerGone;
}

Result<Value, ServiceFailure> ServiceChannel::call(ServiceMessage message)
{
    if (!socket_)
        return Failure::NotConnected;
    const auto self = shared_from_this();
    const double end = monotonicSeconds() + timeLimit;
    message.kind = ServiceMessage::Kind::Call;
    message.number = ++lastCall_;
    if (const Failure failure = send(message); failure != Failure::None)
        return failure;
    const auto place = awaited_.emplace(message.number, std::nullopt).first;
    bool inTime = true;
    for (;;) {
        deliver();
        if (place->second || !socket_ || !inTime)
            break;
        inTime = serveUntil(end);
    }
    auto answered = std::move(place->second);
    awaited_.erase(place);
    if (answered)
        return std::move(*answered);
    return socket_ ? Failure::TimeLimit : Failure::PeerGone;
}

} // namespace platform
