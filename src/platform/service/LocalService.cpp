#include "platform/service/LocalService.h"

#include "platform/loop/MainLoop.h"
#include "platform/service/ConnectionAcceptor.h"
#include "platform/service/ServiceChannel.h"
#include "platform/service/ServiceSockets.h"

#include <vector>

namespace platform {

namespace {

constexpr std::size_t kMostConnections = 64;

} // namespace

struct LocalService::State : std::enable_shared_from_this<State> {
    void add(Descriptor socket);
    void removeConnection(const ServiceChannel*);
    void noteChange() const;

    servicesockets::Listener listener;
    ServiceHandler handler;
    std::function<void(int)> whenConnectionsChange;
    std::vector<std::shared_ptr<ServiceChannel>> connections;
    std::unique_ptr<ConnectionAcceptor> acceptor;
};

void LocalService::State::add(Descriptor socket)
{
    if (connections.size() >= kMostConnections)
        return;
    auto connection = std::make_shared<ServiceChannel>();
    connection->handler = handler;
    connection->whenPeerDies = [weak = weak_from_this(), gone = connection.get()] {
        if (const auto self = weak.lock())
            self->removeConnection(gone);
    };
    connection->begin(std::move(socket));
    connections.push_back(std::move(connection));
    noteChange();
}

void LocalService::State::removeConnection(const ServiceChannel* gone)
{
    if (std::erase_if(connections, [&](const auto& connection) { return connection.get() == gone; }) > 0)
        noteChange();
}

void LocalService::State::noteChange() const
{
    if (whenConnectionsChange)
        whenConnectionsChange(static_cast<int>(connections.size()));
}

LocalService::LocalService(std::shared_ptr<State> state) : state_(std::move(state)) { }

LocalService::~LocalService()
{
    state_->acceptor.reset();
    state_->whenConnectionsChange = nullptr;
    servicesockets::stopListening(state_->listener);
    for (const auto& connection : state_->connections)
        connection->invalidate();
}

Result<std::unique_ptr<LocalService>> LocalService::offer(const std::string& name, ServiceHandler handler)
{
    MainLoop::main().assertLoopThread();
    auto listener = servicesockets::listen(name);
    if (!listener)
        return listener.error();
    auto state = std::make_shared<State>();
    state->listener = std::move(*listener);
    state->handler = std::move(handler);
    state->acceptor = std::make_unique<ConnectionAcceptor>(
        state->listener.socket.get(), [raw = state.get()] { return servicesockets::accept(raw->listener); },
        [weak = std::weak_ptr(state)](Descriptor socket) {
            if (const auto self = weak.lock())
                self->add(std::move(socket));
        });
    return std::unique_ptr<LocalService>(new LocalService(std::move(state)));
}

void LocalService::whenConnectionsChange(std::function<void(int)> handler)
{
    state_->whenConnectionsChange = std::move(handler);
}

} // namespace platform
