#include "platform/service/ServiceConnection.h"

#include "platform/loop/MainLoop.h"
#include "platform/loop/Pace.h"
#include "platform/service/ServiceChannel.h"
#include "platform/service/ServiceSockets.h"

#include <chrono>
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
    return std::unique_ptr<ServiceConnection>(new ServiceConnection(std::move(channel)));
}

std::unique_ptr<ServiceConnection> ServiceConnection::connectLater(
    const std::string& name, std::function<void(Status)> whenConnected, double limitInSeconds)
{
    MainLoop::main().assertLoopThread();
    auto channel = std::make_shared<ServiceChannel>();
    channel->beginConnecting(name, limitInSeconds, std::move(whenConnected));
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
