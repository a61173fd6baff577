#pragma once

#include "ssh/session/Channel.h"
#include "ssh/transport/Socket.h"

#include <string>

namespace ssh {

// What commands and subsystems need of the connection below their channels: a connection of their own, or a
// shared one. Tests replace it by one without a socket.
class ChannelHost {
public:
    virtual ~ChannelHost() = default;
    virtual bool connected() const = 0;
    virtual const std::string& serverVersion() const = 0;
    virtual std::uint32_t openWindow() const = 0; // Bytes that a channel accepts without being read.
    virtual std::size_t unsent() const = 0; // Bytes that the socket hasn't accepted yet.
    virtual ChannelTable& channels() = 0;
    virtual Channel* channel(std::uint32_t number) { return channels().find(number); } // Null for none.
    // Asks for a session channel without waiting, so that several can be asked for together.
    virtual Result<std::uint32_t> requestChannel(bool takesErrorOutput) = 0;
    Status awaitChannel(std::uint32_t number); // Waits until the server has opened it, and widens its window.
    Result<std::uint32_t> openChannel(bool takesErrorOutput);
    // Sends and receives until `done`, which is called after each batch of messages. Fails when the
    // connection fails or the server is silent for the idle limit.
    virtual Status waitFor(const std::function<bool()>& done) = 0;
    // The same up to a deadline, which is no failure.
    virtual Status waitUntil(Deadline deadline, const std::function<bool()>& done) = 0;
    virtual Status flush() = 0; // Sends what can be sent without waiting.

    // Sends the request for a command and waits for the server's answer.
    Status exec(Channel& channel, const std::string& command);
};

} // namespace ssh
