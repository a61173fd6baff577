#include "platform/service/TcpSockets.h"

#include "platform/SystemError.h"
#include "platform/loop/Pace.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cmath>
#include <fmt/format.h>
#include <future>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <system_error>
#include <thread>

namespace platform::tcpsockets {

namespace {

constexpr int kBacklog = 16;
constexpr int kLargestPort = 65535;

struct FreeAddresses {
    void operator()(addrinfo* list) const { ::freeaddrinfo(list); }
};
using Addresses = std::shared_ptr<addrinfo>;

Addresses lookUp(const std::string& host, int port, int flags)
{
    addrinfo wanted{};
    wanted.ai_family = AF_UNSPEC;
    wanted.ai_socktype = SOCK_STREAM;
    wanted.ai_flags = flags | AI_NUMERICSERV;
    addrinfo* list = nullptr;
    if (::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &wanted, &list) != 0 || !list)
        return nullptr;
    return Addresses(list, FreeAddresses());
}

// A look-up can't be interrupted: it runs on a thread of its own, which outlives a caller that gives up.
Addresses lookUpUntil(const std::string& host, int port, double end)
{
    if (auto numeric = lookUp(host, port, AI_NUMERICHOST))
        return numeric;
    auto promise = std::make_shared<std::promise<Addresses>>();
    auto answer = promise->get_future();
    try {
        std::thread([promise, host, port] {
            promise->set_value(lookUp(host, port, AI_ADDRCONFIG));
        }).detach();
    } catch (const std::system_error&) {
        return nullptr;
    }
    const Seconds left(std::max(0.0, end - monotonicSeconds()));
    return answer.wait_for(left) == std::future_status::ready ? answer.get() : nullptr;
}

// Small messages go out at once, and a peer whose machine has gone is noticed some day.
void prepare(const Descriptor& socket)
{
    const int on = 1;
    ::setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    ::setsockopt(socket.get(), SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
}

Result<Descriptor> connectTo(const addrinfo& address, double end)
{
    Descriptor socket(::socket(address.ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket)
        return systemError();
    if (::connect(socket.get(), address.ai_addr, address.ai_addrlen) != 0 && errno != EINPROGRESS
        && errno != EINTR)
        return systemError();
    pollfd polled{socket.get(), POLLOUT, 0};
    int ready = 0;
    for (double left = end - monotonicSeconds(); ready <= 0; left = end - monotonicSeconds()) {
        if (!(left > 0))
            return Error{"no answer in time"};
        ready = ::poll(&polled, 1, static_cast<int>(std::ceil(std::min(left, 3600.0) * 1000)));
    }
    int reason = 0;
    socklen_t size = sizeof reason;
    if (::getsockopt(socket.get(), SOL_SOCKET, SO_ERROR, &reason, &size) != 0)
        return systemError();
    if (reason != 0) {
        errno = reason;
        return systemError();
    }
    prepare(socket);
    return socket;
}

} // namespace

Result<Descriptor> listen(const std::string& address, int port)
{
    if (port < 0 || port > kLargestPort)
        return Error{fmt::format("{} is no port", port)};
    const auto place = lookUp(address, port, AI_NUMERICHOST | AI_PASSIVE);
    if (!place)
        return Error{address + " is no address of a machine"};
    Descriptor socket(::socket(place->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const int on = 1;
    if (!socket || ::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0
        || ::bind(socket.get(), place->ai_addr, place->ai_addrlen) != 0
        || ::listen(socket.get(), kBacklog) != 0)
        return systemError(fmt::format("{} port {}", address, port));
    return socket;
}

int portOf(const Descriptor& listening)
{
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    auto* const plain = reinterpret_cast<sockaddr*>(&address); // NOLINT: as the socket interface wants it.
    if (::getsockname(listening.get(), plain, &size) != 0)
        return 0;
    return address.ss_family == AF_INET6 ? ntohs(reinterpret_cast<const sockaddr_in6*>(&address)->sin6_port)
                                         : ntohs(reinterpret_cast<const sockaddr_in*>(&address)->sin_port);
}

Result<Descriptor> connect(const std::string& host, int port, double limitInSeconds)
{
    const std::string place = fmt::format("{} port {}", host, port);
    if (port < 1 || port > kLargestPort)
        return Error{place + ": there is no such port"};
    const double end = monotonicSeconds() + limitInSeconds;
    const auto addresses = lookUpUntil(host, port, end);
    if (!addresses)
        return Error{place + ": the host is not known"};
    Error last{"no address"};
    for (const addrinfo* address = addresses.get(); address; address = address->ai_next) {
        auto socket = connectTo(*address, end);
        if (socket)
            return socket;
        last = socket.error();
    }
    return Error{place + ": " + last.text};
}

servicesockets::Accepted accept(const Descriptor& listening)
{
    auto accepted = servicesockets::acceptAnybody(listening);
    if (accepted.socket)
        prepare(accepted.socket);
    return accepted;
}

} // namespace platform::tcpsockets
