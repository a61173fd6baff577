#pragma once

#include "ssh/session/Channel.h"

#include <string>

namespace ssh {

// What a subsystem needs of the connection below its channel. Tests replace it by one without a socket.
class ChannelHost {
public:
    virtual ~ChannelHost() = default;
    virtual bool connected() const = 0;
    virtual const std::string& serverVersion() const = 0;
    virtual std::uint32_t openWindow() const = 0; // Bytes that a channel accepts without being read.
    virtual std::size_t unsent() const = 0; // Bytes that the socket hasn't accepted yet.
    virtual ChannelTable& channels() = 0;
    // Asks for a session channel without waiting, so that several can be asked for together.
    virtual Result<std::uint32_t> requestChannel(bool takesErrorOutput) = 0;
    // Waits until the server has opened it, and widens its window.
    virtual Status awaitChannel(std::uint32_t number) = 0;
    // Sends and receives until `done`, which is called after each batch of messages. Fails when the
    // connection fails or the server is silent for the idle limit.
    virtual Status waitFor(const std::function<bool()>& done) = 0;
    virtual Status flush() = 0; // Sends what can be sent without waiting.
};

} // namespace ssh
