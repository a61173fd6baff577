#pragma once

#include "ssh/crypto/Bytes.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace ssh {

using Clock = std::chrono::steady_clock;
using Deadline = Clock::time_point;

// A TCP connection that never blocks: reading and writing do what they can at once, and `wait` is the one
// place that waits. A broken connection is a failure, never a signal.
class Socket {
public:
    Socket() = default;
    explicit Socket(int descriptor) : descriptor_(descriptor) { }
    Socket(Socket&& other) noexcept : descriptor_(other.descriptor_) { other.descriptor_ = -1; }
    Socket& operator=(Socket&& other) noexcept
    {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    ~Socket() { close(); }

    // Looks the name up and connects; tries all addresses of a host, the next one when the last hasn't
    // answered for a moment.
    static Result<Socket> connect(const std::string& host, int port, Deadline deadline);

    bool isOpen() const { return descriptor_ >= 0; }
    void close();
    int descriptor() const { return descriptor_; }

    enum class Event { Ready, TimedOut };
    Result<Event> wait(bool forWriting, Deadline deadline); // Always for reading as well.

    struct Transfer {
        std::size_t count = 0;
        bool ended = false; // The other side sends nothing more.
    };
    Result<Transfer> read(std::span<std::uint8_t> into); // 0 bytes when nothing is there yet.
    Result<std::size_t> write(std::span<const std::uint8_t> from); // 0 when the system's buffer is full.

private:
    int descriptor_ = -1;
};

} // namespace ssh
