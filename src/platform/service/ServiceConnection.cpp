#include "platform/service/ServiceConnection.h"

#include "platform/loop/MainLoop.h"
#include "platform/loop/Pace.h"
#include "platform/service/SecretProof.h"
#include "platform/service/ServiceChannel.h"
#include "platform/service/ServiceSockets.h"
#include "platform/service/TcpSockets.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <poll.h>
#include <sys/socket.h>
#include <thread>

namespace platform {

namespace {

Result<Descriptor> waitForConnection(const std::string& name, double limitInSeconds)
{
    const double end = monotonicSeconds() + limitInSeconds;
    for (;;) {
        auto socket = servicesockets::connect(name);
        if (!socket || *socket)
            return socket;
        if (monotonicSeconds() >= end)
            return Error{"the service " + name + " lets nobody in"};
        std::this_thread::sleep_for(Seconds(servicesockets::kSecondsBetweenTries));
    }
}

// Exactly so many bytes; no more, because what follows belongs to the messages.
Result<std::string> receive(const Descriptor& socket, std::size_t size, double end)
{
    std::string bytes(size, '\0');
    std::size_t received = 0;
    while (received < size) {
        const double left = end - monotonicSeconds();
        if (!(left > 0))
            return Error{"the other side did not prove in time that it knows the secret"};
        pollfd polled{socket.get(), POLLIN, 0};
        ::poll(&polled, 1, static_cast<int>(std::ceil(std::min(left, 3600.0) * 1000)));
        const ssize_t count = retryInterrupted(
            [&] { return ::recv(socket.get(), bytes.data() + received, size - received, 0); });
        if (count > 0)
            received += static_cast<std::size_t>(count);
        else if (count == 0 || (errno != EAGAIN && errno != EWOULDBLOCK))
            return Error{"the other side ended the connection before the proof of the secret"};
    }
    return bytes;
}

Status prove(const Descriptor& socket, const std::string& secret, double end)
{
    SecretProof proof(SecretProof::Side::Connecting, secret);
    for (;;) {
        // A new connection takes these few bytes at once.
        const std::string bytes = proof.takeBytesToSend();
        if (!bytes.empty()
            && ::send(socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL)
                != static_cast<ssize_t>(bytes.size()))
            return Error{"the other side ended the connection"};
        if (proof.bytesWanted() == 0)
            return {};
        const auto answer = receive(socket, proof.bytesWanted(), end);
        if (!answer)
            return answer.error();
        if (auto status = proof.take(*answer); !status)
            return status;
    }
}

} // namespace

ServiceConnection::ServiceConnection(std::shared_ptr<ServiceChannel> channel) : channel_(std::move(channel))
{ }

ServiceConnection::~ServiceConnection()
{
    channel_->invalidate();
}

Result<std::unique_ptr<ServiceConnection>> ServiceConnection::connect(
    const std::string& name, double limitInSeconds)
{
    MainLoop::main().assertLoopThread();
    auto socket = waitForConnection(name, limitInSeconds);
    if (!socket)
        return socket.error();
    auto channel = std::make_shared<ServiceChannel>();
    channel->begin(std::move(*socket));
    return over(std::move(channel));
}

std::unique_ptr<ServiceConnection> ServiceConnection::connectLater(
    const std::string& name, std::function<void(Status)> whenConnected, double limitInSeconds)
{
    MainLoop::main().assertLoopThread();
    auto channel = std::make_shared<ServiceChannel>();
    channel->beginConnecting(name, limitInSeconds, std::move(whenConnected));
    return over(std::move(channel));
}

Result<std::unique_ptr<ServiceConnection>, ServiceConnection::TcpFailure> ServiceConnection::connectTcp(
    const std::string& host, int port, const std::optional<std::string>& secret, double limitInSeconds)
{
    MainLoop::main().assertLoopThread();
    const double end = monotonicSeconds() + limitInSeconds;
    auto socket = tcpsockets::connect(host, port, limitInSeconds);
    if (!socket)
        return TcpFailure{TcpFailure::Kind::NotReached, socket.error().text};
    if (secret)
        if (const auto status = prove(*socket, *secret, end); !status)
            return TcpFailure{TcpFailure::Kind::NotProved, status.error().text};
    auto channel = std::make_shared<ServiceChannel>();
    channel->begin(std::move(*socket));
    return over(std::move(channel));
}

std::unique_ptr<ServiceConnection> ServiceConnection::over(std::shared_ptr<ServiceChannel> channel)
{
    return std::unique_ptr<ServiceConnection>(new ServiceConnection(std::move(channel)));
}

ServiceFailure ServiceConnection::send(const std::string& operation, const Value& argument)
{
    return channel_->send({ServiceMessage::Kind::OneWay, 0, operation, argument});
}

Result<Value, ServiceFailure> ServiceConnection::call(const std::string& operation, const Value& argument)
{
    const auto channel = channel_; // This object may go while the call is on its way.
    return channel->call({ServiceMessage::Kind::Call, 0, operation, argument});
}

void ServiceConnection::setTimeLimit(double seconds)
{
    channel_->timeLimit = seconds;
}

bool ServiceConnection::isConnected() const
{
    return channel_->isConnected();
}

bool ServiceConnection::isConnecting() const
{
    return channel_->isConnecting();
}

void ServiceConnection::invalidate()
{
    channel_->invalidate();
}

void ServiceConnection::whenPeerDies(std::function<void()> handler)
{
    channel_->whenPeerDies = std::move(handler);
}

void ServiceConnection::setHandler(Handler handler)
{
    channel_->handler = std::move(handler);
}

} // namespace platform
