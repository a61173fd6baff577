#include "ssh/transport/Socket.h"

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <optional>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>
#include <thread>
#include <vector>

namespace ssh {

namespace {

using platform::Descriptor;
using platform::interrupted;
using platform::retryInterrupted;

// RFC 8305, section 8: how long to wait for one address before the next is tried too.
constexpr auto kNextAddressAfter = std::chrono::milliseconds(250);

struct Address {
    sockaddr_storage storage{};
    socklen_t size = 0;
};

struct Lookup {
    std::mutex mutex;
    std::condition_variable done;
    bool finished = false;
    std::string error;
    std::vector<Address> addresses;
};

Error reasonFor(int code)
{
    return Error{std::generic_category().message(code)};
}

Error broken(int code)
{
    return Error{"The connection to the server broke: " + reasonFor(code).text};
}

// A timeout for poll, rounded up.
int millisecondsUntil(Deadline deadline)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return static_cast<int>(std::clamp<decltype(left)>(left, 0, 3600'000));
}

void lookUp(Lookup& result, const std::string& host, int port, int flags)
{
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = flags | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    const int error = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found);
    std::vector<Address> addresses;
    for (const addrinfo* entry = error ? nullptr : found; entry; entry = entry->ai_next) {
        Address address;
        std::memcpy(&address.storage, entry->ai_addr, entry->ai_addrlen);
        address.size = entry->ai_addrlen;
        addresses.push_back(address);
    }
    if (!error)
        freeaddrinfo(found);
    const std::lock_guard lock(result.mutex);
    result.finished = true;
    result.error = error ? gai_strerror(error) : "";
    result.addresses = std::move(addresses);
    result.done.notify_all();
}

Result<std::vector<Address>> resolve(const std::string& host, int port, Deadline deadline)
{
    Lookup numeric;
    lookUp(numeric, host, port, AI_NUMERICHOST);
    if (!numeric.addresses.empty())
        return std::move(numeric.addresses);

    // getaddrinfo can't be interrupted. It runs on a detached thread, which outlives a caller whose deadline
    // passes.
    auto shared = std::make_shared<Lookup>();
    try {
        std::thread([shared, host, port] { lookUp(*shared, host, port, 0); }).detach();
    } catch (const std::system_error& error) {
        return Error{"The name " + host + " could not be looked up: " + error.what()};
    }
    std::unique_lock lock(shared->mutex);
    if (!shared->done.wait_until(lock, deadline, [&] { return shared->finished; }))
        return Error{"The name " + host + " could not be looked up within the connect time limit."};
    if (shared->addresses.empty())
        return Error{"The name " + host + " could not be looked up: " + shared->error + "."};
    return std::move(shared->addresses);
}

// Probes tell a host that is gone from a command that is silent for hours. Six minutes without an answer
// count as gone: a short break of the line doesn't.
void keepAlive(int descriptor)
{
    const int one = 1;
    setsockopt(descriptor, SOL_SOCKET, SO_KEEPALIVE, &one, sizeof one);
    const int idleSeconds = 60;
    const int probeSeconds = 30;
    const int probes = 10;
    setsockopt(descriptor, IPPROTO_TCP, TCP_KEEPIDLE, &idleSeconds, sizeof idleSeconds);
    setsockopt(descriptor, IPPROTO_TCP, TCP_KEEPINTVL, &probeSeconds, sizeof probeSeconds);
    setsockopt(descriptor, IPPROTO_TCP, TCP_KEEPCNT, &probes, sizeof probes);
}

Result<Descriptor> startConnecting(const Address& address)
{
    Descriptor socket(::socket(address.storage.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!socket)
        return reasonFor(errno);
    const int one = 1;
    setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    keepAlive(socket.get());
    const auto* target = reinterpret_cast<const sockaddr*>(&address.storage);
    // An interrupted connect goes on in the background, like any that doesn't block.
    if (::connect(socket.get(), target, address.size) != 0 && errno != EINPROGRESS && !interrupted())
        return reasonFor(errno);
    return socket;
}

// Success when the attempt, which poll has reported, is connected.
Status outcomeOf(const Descriptor& attempt)
{
    int code = 0;
    socklen_t size = sizeof code;
    if (getsockopt(attempt.get(), SOL_SOCKET, SO_ERROR, &code, &size) != 0)
        return reasonFor(errno);
    return code == 0 ? Status() : reasonFor(code);
}

// Waits until an attempt has ended, at most until the deadline. Gives a connected one, if any; drops the
// failed ones and notes why the last of them failed.
std::optional<Descriptor> takeConnected(std::vector<Descriptor>& attempts, Deadline deadline, Error& last)
{
    std::vector<pollfd> polled;
    polled.reserve(attempts.size());
    for (const Descriptor& attempt : attempts)
        polled.push_back({attempt.get(), POLLOUT, 0});
    if (poll(polled.data(), polled.size(), millisecondsUntil(deadline)) <= 0)
        return std::nullopt;
    std::vector<Descriptor> left;
    std::optional<Descriptor> winner;
    for (std::size_t i = 0; i < attempts.size(); ++i) {
        const Status outcome = polled[i].revents ? outcomeOf(attempts[i]) : Status();
        if (!outcome.ok())
            last = outcome.error();
        else if (!polled[i].revents || winner)
            left.push_back(std::move(attempts[i]));
        else
            winner = std::move(attempts[i]);
    }
    attempts = std::move(left);
    return winner;
}

} // namespace

Result<Socket> Socket::connect(const std::string& host, int port, Deadline deadline)
{
    const auto addresses = resolve(host, port, deadline);
    if (!addresses.ok())
        return addresses.error();
    const std::string where = host + " port " + std::to_string(port);
    std::vector<Descriptor> attempts;
    std::size_t next = 0;
    Error last;
    Deadline nextAt = Clock::now();
    for (;;) {
        const Deadline now = Clock::now();
        if (now >= deadline)
            return Error{"Connecting to " + where + " took longer than the connect time limit."};
        if (next < addresses->size() && (attempts.empty() || now >= nextAt)) {
            auto attempt = startConnecting((*addresses)[next++]);
            if (attempt.ok())
                attempts.push_back(std::move(*attempt));
            else
                last = attempt.error();
            nextAt = now + kNextAddressAfter;
            continue;
        }
        if (attempts.empty())
            return Error{"Connecting to " + where + " failed: " + last.text};
        auto winner =
            takeConnected(attempts, next < addresses->size() ? std::min(nextAt, deadline) : deadline, last);
        if (winner)
            return Socket(std::move(*winner));
    }
}

Result<Socket> Socket::connectLocal(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path)
        return Error{"\"" + printable(path) + "\" can't be the path of a socket."};
    std::copy(path.begin(), path.end(), address.sun_path);
    Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!socket)
        return reasonFor(errno);
    if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        return Error{path + " could not be connected to: " + reasonFor(errno).text};
    return Socket(std::move(socket));
}

Result<Socket::Event> Socket::wait(bool forWriting, Deadline deadline)
{
    pollfd entry{descriptor_.get(), static_cast<short>(POLLIN | (forWriting ? POLLOUT : 0)), 0};
    for (;;) {
        const int ready = poll(&entry, 1, millisecondsUntil(deadline));
        if (ready > 0)
            return Event::Ready;
        if (ready < 0 && !interrupted())
            return Error{"Waiting for the server failed: " + reasonFor(errno).text};
        if (ready == 0 && Clock::now() >= deadline)
            return Event::TimedOut;
    }
}

Result<Socket::Transfer> Socket::read(std::span<std::uint8_t> into)
{
    const ssize_t count =
        retryInterrupted([&] { return recv(descriptor_.get(), into.data(), into.size(), 0); });
    if (count > 0)
        return Transfer{static_cast<std::size_t>(count), false};
    if (count == 0)
        return Transfer{0, true};
    if (errno == EAGAIN || errno == EWOULDBLOCK)
        return Transfer{};
    return broken(errno);
}

Result<std::size_t> Socket::write(std::span<const std::uint8_t> from)
{
    const ssize_t count =
        retryInterrupted([&] { return send(descriptor_.get(), from.data(), from.size(), MSG_NOSIGNAL); });
    if (count >= 0)
        return static_cast<std::size_t>(count);
    if (errno == EAGAIN || errno == EWOULDBLOCK)
        return std::size_t{0};
    return broken(errno);
}

} // namespace ssh
