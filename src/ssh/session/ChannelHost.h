#pragma once

#include "ssh/session/Channel.h"

#include <string>

namespace ssh {

// What a subsystem on a channel asks of the connection that carries it, so that it runs without a socket too.
class ChannelHost {
public:
    virtual ~ChannelHost() = default;
    virtual bool connected() const = 0;
    virtual const std::string& serverVersion() const = 0;
    virtual std::uint32_t openWindow() const = 0; // Bytes that a channel of ours takes unread.
    virtual std::size_t unsent() const = 0; // Bytes that the system hasn't taken yet.
    virtual ChannelTable& channels() = 0;
    // Opens a session channel and widens its window.
    virtual Result<std::uint32_t> openChannel(bool takesErrorOutput) = 0;
    // Moves bytes until `done`, which is asked after each batch of messages. Fails when the connection does,
    // and when the server is silent for as long as the idle limit.
    virtual Status waitFor(const std::function<bool()>& done) = 0;
    virtual Status flush() = 0; // Sends what can be sent without waiting.
};

} // namespace ssh
