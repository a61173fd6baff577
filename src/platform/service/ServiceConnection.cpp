#include "platform/service/ServiceConnection.h"

#include "platform/loop/Pace.h"
#include "platform/service/ServiceConnectionState.h"
#include "platform/service/ServiceSockets.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <poll.h>
#include <sys/socket.h>

namespace platform {

namespace {

constexpr std::size_t kReadStep = std::size_t{64} << 10;
constexpr int kReadsAtOnce = 16; // Then others have their turn on the loop.
// A peer that sends while it is sent to is read, so that both don't wait for each other, but not for ever.
constexpr std::size_t kMostBytesWaiting = 2 * std::size_t{kLargestServiceMessage};

// What a peer that is stopped for a while may find when it goes on.
constexpr std::size_t kMostBytesUnsent = std::size_t{16} << 20;

} // namespace

ServiceConnection::State::State(Descriptor connected) : socket(std::move(connected)) { }

void ServiceConnection::State::begin()
{
    readWatch_ = MainLoop::main().watchReadable(socket.get(), [weak = weak_from_this()] {
        if (const auto self = weak.lock())
            self->onReadable();
    });
}

void ServiceConnection::State::invalidate()
{
    isInvalid_ = true;
    readWatch_.reset();
    writeWatch_.reset();
    socket.reset();
    handler = nullptr;
    whenPeerDies = nullptr;
}

void ServiceConnection::State::onReadable()
{
    readAvailable();
    deliver();
}

void ServiceConnection::State::readAvailable()
{
    std::string buffer(kReadStep, '\0');
    for (int round = 0; socket && round < kReadsAtOnce; ++round) {
        const ssize_t count =
            retryInterrupted([&] { return ::recv(socket.get(), buffer.data(), buffer.size(), 0); });
        if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            return;
        // A peer that speaks another language is as good as gone.
        if (count <= 0 || !reader_.append({buffer.data(), static_cast<std::size_t>(count)}))
            return peerHasGone();
    }
}

void ServiceConnection::State::peerHasGone()
{
    if (!socket)
        return;
    readWatch_.reset();
    writeWatch_.reset();
    socket.reset();
    // Posted behind any delivery of what it said before.
    MainLoop::main().post([weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self || self->isInvalid_)
            return;
        self->deliver();
        if (const auto tell = std::exchange(self->whenPeerDies, nullptr))
            tell();
    });
}

void ServiceConnection::State::deliver()
{
    const auto self = shared_from_this(); // A handler may let go of the connection.
    while (!isInvalid_) {
        auto message = reader_.next();
        if (!message)
            return;
        dispatch(*message);
    }
}

void ServiceConnection::State::deliverLater()
{
    MainLoop::main().post([weak = weak_from_this()] {
        if (const auto self = weak.lock())
            self->deliver();
    });
}

void ServiceConnection::State::dispatch(ServiceMessage& message)
{
    if (message.kind == ServiceMessage::Kind::Reply) {
        // A reply to a call that has given up waiting belongs to nobody.
        if (const auto waiting = awaited_.find(message.number); waiting != awaited_.end())
            waiting->second = std::move(message.content);
        return;
    }
    const Handler serve = handler; // It may set another one.
    Value result = serve ? serve(message.operation, message.content) : Value();
    if (message.kind != ServiceMessage::Kind::Call || !socket)
        return;
    send({ServiceMessage::Kind::Reply, message.number, {}, std::move(result)});
}

void ServiceConnection::State::writeUnsent()
{
    while (socket && unsentBytes() > 0) {
        const ssize_t count = retryInterrupted([&] {
            return ::send(
                socket.get(), unsent_.data() + unsentStart_, unsentBytes(), MSG_NOSIGNAL | MSG_DONTWAIT);
        });
        if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            break;
        if (count < 0) {
            readAvailable(); // What it said before it went.
            return peerHasGone();
        }
        unsentStart_ += static_cast<std::size_t>(count);
    }
    // Moved only when half of it is behind, or a long queue would be moved for each little piece.
    if (unsentStart_ > unsent_.size() / 2)
        unsent_.erase(0, std::exchange(unsentStart_, 0));
    if (!socket || unsentBytes() == 0)
        writeWatch_.reset();
    else if (!writeWatch_)
        writeWatch_ = MainLoop::main().watchWritable(socket.get(), [weak = weak_from_this()] {
            if (const auto self = weak.lock())
                self->writeUnsent();
        });
}

bool ServiceConnection::State::serveUntil(double end)
{
    const double left = end - monotonicSeconds();
    if (!(left > 0))
        return false;
    short events = unsentBytes() > 0 ? POLLOUT : 0;
    // A peer that sends and doesn't read must not fill the memory; its reply may be behind what it sent.
    if (events == 0 || reader_.bytesWaiting() < kMostBytesWaiting)
        events |= POLLIN;
    pollfd polled{socket.get(), events, 0};
    ::poll(&polled, 1, static_cast<int>(std::ceil(std::min(left, 3600.0) * 1000)));
    if ((polled.revents & (POLLIN | POLLHUP | POLLERR)) != 0)
        readAvailable();
    writeUnsent();
    return true;
}

ServiceConnection::Failure ServiceConnection::State::send(const ServiceMessage& message)
{
    if (!socket)
        return Failure::NotConnected;
    const auto encoded = encode(message);
    if (!encoded)
        return Failure::TimeLimit;
    if (unsentBytes() > 0 && encoded->size() > kMostBytesUnsent - std::min(unsentBytes(), kMostBytesUnsent)) {
        peerHasGone();
        return Failure::TimeLimit;
    }
    unsent_ += *encoded;
    writeUnsent();
    if (reader_.bytesWaiting() > 0)
        deliverLater();
    return socket ? Failure::None : Failure::PeerGone;
}

ServiceConnection::Failure ServiceConnection::State::call(ServiceMessage message, Value& reply)
{
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
        if (place->second || !socket || !inTime)
            break;
        inTime = serveUntil(end);
    }
    const auto answered = std::move(place->second);
    awaited_.erase(place);
    if (answered) {
        reply = *answered;
        return Failure::None;
    }
    return socket ? Failure::TimeLimit : Failure::PeerGone;
}

ServiceConnection::ServiceConnection(std::shared_ptr<State> state) : state_(std::move(state)) { }

ServiceConnection::~ServiceConnection()
{
    state_->invalidate();
}

std::unique_ptr<ServiceConnection> ServiceConnection::connect(const std::string& name, double limitInSeconds)
{
    MainLoop::main().assertLoopThread();
    Descriptor socket = servicesockets::connect(name, limitInSeconds);
    if (!socket)
        return nullptr;
    auto state = std::make_shared<State>(std::move(socket));
    state->begin();
    return std::unique_ptr<ServiceConnection>(new ServiceConnection(std::move(state)));
}

ServiceConnection::Failure ServiceConnection::send(const std::string& operation, const Value& argument)
{
    return state_->send({ServiceMessage::Kind::OneWay, 0, operation, argument});
}

ServiceConnection::Failure ServiceConnection::call(
    const std::string& operation, const Value& argument, Value& reply)
{
    const auto state = state_; // This object may go while the call is on its way.
    return state->call({ServiceMessage::Kind::Call, 0, operation, argument}, reply);
}

void ServiceConnection::setTimeLimit(double seconds)
{
    state_->timeLimit = seconds;
}

bool ServiceConnection::isConnected() const
{
    return static_cast<bool>(state_->socket);
}

void ServiceConnection::invalidate()
{
    state_->invalidate();
}

void ServiceConnection::whenPeerDies(std::function<void()> handler)
{
    state_->whenPeerDies = std::move(handler);
}

void ServiceConnection::setHandler(Handler handler)
{
    state_->handler = std::move(handler);
}

} // namespace platform
