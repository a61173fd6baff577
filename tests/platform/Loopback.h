#pragma once

#include "platform/files/Descriptor.h"

#include <cstdint>
#include <netinet/in.h>
#include <sys/socket.h>

inline sockaddr_in loopback(int port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    return address;
}

// A socket that listens on a free port.
inline platform::Descriptor listenOnLoopback(int& port)
{
    platform::Descriptor listening(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address = loopback(0);
    auto* const plain = reinterpret_cast<sockaddr*>(&address);
    socklen_t size = sizeof address;
    if (::bind(listening.get(), plain, size) == 0 && ::listen(listening.get(), 64) == 0)
        ::getsockname(listening.get(), plain, &size);
    port = ntohs(address.sin_port);
    return listening;
}
