#pragma once

#include "platform/Result.h"
#include "platform/files/Descriptor.h"
#include "storage/memory/DataMessage.h"

#include <string>

namespace storage {

// Stream sockets that block. A peer that has gone ends a call, never the process.
class SocketChannel : public ByteChannel {
public:
    explicit SocketChannel(int socket) : socket_(socket) { } // Borrowed.
    bool send(const void* bytes, std::size_t count) override;
    std::size_t receive(void* into, std::size_t count) override;

private:
    int socket_;
};

inline constexpr const char* kInvalidHostName = "Invalid host name.";
// The text of a failure is the message for the user.
platform::Result<platform::Descriptor> connectToPath(const std::string& path);
platform::Result<platform::Descriptor> connectToHost(const std::string& machine, int port);

inline constexpr std::size_t kLongestSocketName = 103; // Bytes.

} // namespace storage
