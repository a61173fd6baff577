#include "platform/loop/WatchedDescriptors.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <unistd.h>

namespace platform {

namespace {

static_assert(POLLIN == EPOLLIN && POLLOUT == EPOLLOUT, "one set of bits serves both calls");
constexpr int kJoined = -1; // Stands for the descriptors without a handler.
constexpr std::size_t kMostAtOnce = 64;

int control(int epoll, int operation, int descriptor, short events, int name)
{
    epoll_event event{};
    event.events = static_cast<std::uint32_t>(events);
    event.data.fd = name;
    return ::epoll_ctl(epoll, operation, descriptor, &event);
}

short wantedEvents(const std::vector<std::shared_ptr<WatchedDescriptors::Watch>>& watches)
{
    short events = 0;
    for (const auto& watch : watches)
        if (watch->handler.isReady())
            events = static_cast<short>(events | watch->events);
    return events;
}

// Asks the system for the readiness of this moment. A closed descriptor ends its watch.
bool isReadyNow(WatchedDescriptors::Watch& watch)
{
    pollfd polled{watch.descriptor, watch.events, 0};
    if (::poll(&polled, 1, 0) <= 0)
        return false;
    if ((polled.revents & POLLNVAL) == 0)
        return true;
    watch.handler.end();
    return false;
}

} // namespace

WatchedDescriptors::WatchedDescriptors() : ready_(::epoll_create1(EPOLL_CLOEXEC))
{
    if (!ready_) {
        std::fputs("trelkind: the main loop can't have a descriptor to wait with\n", stderr);
        std::abort();
    }
}

void WatchedDescriptors::join(int descriptor)
{
    joined_.push_back(descriptor);
    control(ready_.get(), EPOLL_CTL_ADD, descriptor, POLLIN, kJoined);
}

std::shared_ptr<WatchedDescriptors::Watch> WatchedDescriptors::add(
    int descriptor, short events, std::function<void()> handler)
{
    Entry& entry = entries_[descriptor];
    const auto watch = std::make_shared<Watch>(Watch{descriptor, events, Callback(std::move(handler))});
    const auto wanted = static_cast<short>(wantedEvents(entry.watches) | events);
    if (!registerEvents(descriptor, entry, wanted)) {
        if (entry.watches.empty())
            entries_.erase(descriptor);
        return nullptr;
    }
    entry.watches.push_back(watch);
    return watch;
}

void WatchedDescriptors::remove(const std::shared_ptr<Watch>& watch)
{
    watch->handler.end();
    const auto found = entries_.find(watch->descriptor);
    if (found == entries_.end())
        return;
    std::erase(found->second.watches, watch);
    refresh(watch->descriptor);
    if (found->second.watches.empty())
        entries_.erase(found);
}

bool WatchedDescriptors::registerEvents(int descriptor, Entry& entry, short events)
{
    const int operation = entry.registered == 0 ? EPOLL_CTL_ADD : events == 0 ? EPOLL_CTL_DEL : EPOLL_CTL_MOD;
    int result = control(ready_.get(), operation, descriptor, events, descriptor);
    if (result != 0 && errno == ENOENT && events != 0) {
        // The number was closed under its watches and belongs to something else now.
        for (const auto& watch : entry.watches)
            watch->handler.end();
        result = control(ready_.get(), EPOLL_CTL_ADD, descriptor, events, descriptor);
    }
    entry.registered = result == 0 ? events : short{0};
    return result == 0;
}

// A handler that is being called must not keep the loop inside it awake, and is waited for again afterwards.
void WatchedDescriptors::refresh(int descriptor)
{
    const auto found = entries_.find(descriptor);
    if (found == entries_.end())
        return;
    const short wanted = wantedEvents(found->second.watches);
    if (wanted != found->second.registered)
        registerEvents(descriptor, found->second, wanted);
}

std::vector<std::shared_ptr<WatchedDescriptors::Watch>> WatchedDescriptors::candidates()
{
    std::array<epoll_event, kMostAtOnce> events{};
    const int count = ::epoll_wait(ready_.get(), events.data(), static_cast<int>(events.size()), 0);
    std::vector<std::shared_ptr<Watch>> result;
    bool hasUnknown = false;
    for (int index = 0; index < count; ++index) {
        const epoll_event& event = events[static_cast<std::size_t>(index)];
        if (event.data.fd == kJoined)
            continue;
        const auto entry = entries_.find(event.data.fd);
        if (entry == entries_.end()) {
            hasUnknown = true;
            continue;
        }
        for (const auto& watch : entry->second.watches)
            if ((event.events & (static_cast<std::uint32_t>(watch->events) | EPOLLERR | EPOLLHUP)) != 0)
                result.push_back(watch);
    }
    if (hasUnknown)
        renew();
    return result;
}

void WatchedDescriptors::serve(const std::function<void(Callback&)>& call)
{
    for (const auto& watch : candidates()) {
        const AtEndOfScope served([&] { refresh(watch->descriptor); });
        if (watch->handler.isReady() && isReadyNow(*watch))
            call(watch->handler);
    }
}

// An owner closed a descriptor before it ended the watch, while another process or a copy holds the same file
// open: the system goes on reporting it and knows no way to take it out. Only a new set is rid of it.
void WatchedDescriptors::renew()
{
    const Descriptor fresh(::epoll_create1(EPOLL_CLOEXEC));
    if (!fresh || ::dup3(fresh.get(), ready_.get(), O_CLOEXEC) < 0)
        return;
    for (const int descriptor : joined_)
        control(ready_.get(), EPOLL_CTL_ADD, descriptor, POLLIN, kJoined);
    for (auto& [descriptor, entry] : entries_) {
        entry.registered = 0;
        refresh(descriptor);
    }
}

} // namespace platform
