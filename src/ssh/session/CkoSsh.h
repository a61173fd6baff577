#pragma once

#include "ssh/session/CkoConnection.h"
#include "ssh/session/ForwardHost.h"

#include <cstdint>
#include <span>

namespace ssh {

class ClsSsh;
class SharedConnection;
struct SharedLimits;

// An SSH connection with session channels that run commands. See CkoConnection for the rules of all calls.
class CkoSsh : public CkoConnection, public ForwardHost {
public:
    CkoSsh();
    ~CkoSsh() override;

    // Makes a logged-in connection one that others use too, by ConnectShared; it isn't used by itself any
    // more. A failure ends it.
    static Result<std::shared_ptr<SharedConnection>> Share(
        std::unique_ptr<CkoSsh> connection, const SharedLimits& limits);

    int OpenSessionChannel(); // The channel's number, from 0; negative for a failure.
    // A channel through which the server connects to another host; negative when it doesn't.
    int OpenForwardChannel(const std::string& host, int port) override;
    // For a caller that waits for other things too: it is readable when the server has sent something.
    // Negative without a connection.
    int Descriptor() const override;
    bool HasUnsent() const override; // The socket hasn't taken all that was sent.
    // Runs the command through the login's shell in its home directory; returns when the request is accepted,
    // not when the command ends.
    bool SendReqExec(int channel, const std::string& command);
    // Whether the server has closed the channel, or the connection is gone. Reads nothing.
    bool ChannelReceivedClose(int channel) override;
    // Waits until output arrives in the channel's buffer or the time is over. Returns the number of bytes in
    // the buffer, negative on failure. Notes a close. The command's error output is part of its output.
    int ChannelReadAndPoll(int channel, int pollTimeoutMs) override;
    std::vector<std::uint8_t> GetReceivedDataN(
        int channel, int numBytes) override; // Removes them from the buffer.
    // Sends input to the command. Returns how many of the bytes the server had room for, negative on failure.
    // Call ChannelReadAndPoll between attempts: it notices new room.
    int ChannelSendData(int channel, std::span<const std::uint8_t> data) override;
    bool ChannelSendClose(int channel); // Ends the command's input; the command runs to its end.
    bool ChannelReceiveToClose(int channel); // Waits for the command's end and drops its output.
    int GetChannelExitStatus(int channel); // From 0 to 255; negative while it is unknown.
    std::string whyNoForward() const override { return LastErrorText(); }
    void endForwarding() override { Disconnect(); }

private:
    explicit CkoSsh(std::unique_ptr<ClsSsh> impl);
    std::unique_ptr<ClsSsh> impl_;
};

} // namespace ssh
