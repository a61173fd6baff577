#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace ssh {

// A logged-in connection to a server that connects to other hosts for us. CkoSsh is one, and tells what each
// call does. One thread at a time.
class ForwardHost {
public:
    virtual ~ForwardHost() = default;
    virtual int OpenForwardChannel(const std::string& host, int port) = 0;
    virtual bool ChannelReceivedClose(int channel) = 0;
    virtual int ChannelReadAndPoll(int channel, int pollTimeoutMs) = 0;
    virtual std::vector<std::uint8_t> GetReceivedDataN(int channel, int numBytes) = 0;
    virtual int ChannelSendData(int channel, std::span<const std::uint8_t> data) = 0;
    virtual int Descriptor() const = 0;
    virtual bool HasUnsent() const = 0;
    virtual std::string whyNoForward() const = 0; // The reason of the last failure.
    virtual void endForwarding() = 0; // Closes the connection.
};

} // namespace ssh
