#pragma once

#include "platform/files/Descriptor.h"
#include "ssh/crypto/Bytes.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace ssh {

using Clock = std::chrono::steady_clock;
using Deadline = Clock::time_point;

// A TCP or local connection that never blocks: reading and writing do what they can at once, and only `wait`
// waits. A broken connection is a failure, never a signal.
class Socket {
public:
    Socket() = default;
    explicit Socket(platform::Descriptor descriptor) : descriptor_(std::move(descriptor)) { }

    // Looks the name up and connects. Tries all addresses of the host, the next one when the last doesn't
    // answer quickly.
    static Result<Socket> connect(const std::string& host, int port, Deadline deadline);

    // To a program of this computer that listens at the path.
    static Result<Socket> connectLocal(const std::string& path);

    bool isOpen() const { return static_cast<bool>(descriptor_); }
    void close() { descriptor_.reset(); }
    int descriptor() const { return descriptor_.get(); } // Negative when it is closed.

    enum class Event { Ready, TimedOut };
    Result<Event> wait(bool forWriting, Deadline deadline); // Waits for reading in any case.

    struct Transfer {
        std::size_t count = 0;
        bool ended = false; // The peer sends nothing more.
    };
    Result<Transfer> read(std::span<std::uint8_t> into); // 0 bytes when nothing has arrived.
    Result<std::size_t> write(std::span<const std::uint8_t> from); // 0 when the system's buffer is full.

private:
    platform::Descriptor descriptor_;
};

} // namespace ssh
