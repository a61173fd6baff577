#include "platform/service/LocalService.h"

#include "platform/loop/MainLoop.h"
#include "platform/service/ServiceChannel.h"
#include "platform/service/ServiceSockets.h"

#include <vector>

namespace platform {

namespace {

constexpr std::size_t kMostConnections = 64;
constexpr double kPauseWithoutDescriptors = 0.5; // Seconds.

} // namespace

struct LocalService::State : std::enable_shared_from_this<State> {
    void listen();
    void acceptAll();
    void add(Descriptor socket);
    void removeConnection(const ServiceChannel*);
    void noteChange() const;

    servicesockets::Listener listener;
    ServiceHandler handler;
    std::function<void(int)> whenConnectionsChange;
    std::vector<std::shared_ptr<ServiceChannel>> connections;
    std::unique_ptr<MainLoop::Watch> watch;
    std::unique_ptr<Timer> pause;
};

void LocalService::State::listen()
{
    watch = MainLoop::main().watchReadable(listener.socket.get(), [weak = weak_from_this()] {
        if (const auto self = weak.lock())
            self->acceptAll();
    });
}

void LocalService::State::acceptAll()
{
    using Next = servicesockets::Accepted::Next;
    Next next = Next::AskAgain;
    while (next == Next::AskAgain) {
        auto accepted = servicesockets::accept(listener);
        next = accepted.next;
        if (accepted.socket && connections.size() < kMostConnections)
            add(std::move(accepted.socket));
    }
    if (next != Next::OutOfDescriptors)
        return;
    // Out of descriptors: stop accepting for a while, else the loop spins.
    watch.reset();
    pause = Timer::schedule(kPauseWithoutDescriptors, Timer::Repeats::No, [weak = weak_from_this()] {
        if (const auto self = weak.lock())
            self->listen();
    });
}

void LocalService::State::add(Descriptor socket)
{
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
    state_->watch.reset();
    state_->pause.reset();
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
    state->listen();
    return std::unique_ptr<LocalService>(new LocalService(std::move(state)));
}

void LocalService::whenConnectionsChange(std::function<void(int)> handler)
{
    state_->whenConnectionsChange = std::move(handler);
}

} // namespace platform
