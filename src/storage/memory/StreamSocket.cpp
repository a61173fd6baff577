#include "storage/memory/StreamSocket.h"

#include <algorithm>
#include <memory>
#include <netdb.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace storage {

namespace {

constexpr const char* kNoSocket = "Could not create socket.";
constexpr const char* kNoConnection = "Error connecting.";

struct FreeAddresses {
    void operator()(addrinfo* addresses) const { ::freeaddrinfo(addresses); }
};

} // namespace

bool SocketChannel::send(const void* bytes, std::size_t count)
{
    for (const char* next = static_cast<const char*>(bytes); count > 0;) {
        const auto sent =
            platform::retryInterrupted([&] { return ::send(socket_, next, count, MSG_NOSIGNAL); });
        if (sent <= 0)
            return false;
        next += sent;
        count -= static_cast<std::size_t>(sent);
    }
    return true;
}

std::size_t SocketChannel::receive(void* into, std::size_t count)
{
    std::size_t received = 0;
    while (received < count) {
        const auto came = platform::retryInterrupted(
            [&] { return ::recv(socket_, static_cast<char*>(into) + received, count - received, 0); });
        if (came <= 0)
            break;
        received += static_cast<std::size_t>(came);
    }
    return received;
}

platform::Result<platform::Descriptor> connectToPath(const std::string& path)
{
    platform::Descriptor made(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!made)
        return platform::Error{kNoSocket};
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() > kLongestSocketName)
        return platform::Error{kNoConnection};
    std::copy(path.begin(), path.end(), address.sun_path);
    if (platform::retryInterrupted([&] {
            return ::connect(made.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
        })
        != 0)
        return platform::Error{kNoConnection};
    return made;
}

platform::Result<platform::Descriptor> connectToHost(const std::string& machine, int port)
{
    addrinfo wanted{};
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    if (::getaddrinfo(machine.c_str(), std::to_string(port).c_str(), &wanted, &list) != 0)
        return platform::Error{kInvalidHostName};
    const std::unique_ptr<addrinfo, FreeAddresses> addresses(list);
    const char* failure = kNoSocket;
    for (const addrinfo* address = list; address; address = address->ai_next) {
        platform::Descriptor made(::socket(address->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
        if (!made)
            continue;
        failure = kNoConnection;
        if (platform::retryInterrupted(
                [&] { return ::connect(made.get(), address->ai_addr, address->ai_addrlen); })
            == 0)
            return made;
    }
    return platform::Error{failure};
}

} // namespace storage
