#pragma once

#include "ssh/session/CkoConnection.h"

#include <cstdint>
#include <span>

namespace ssh {

class ClsSsh;

// An SSH connection with session channels that run commands. See CkoConnection for what holds of every call.
class CkoSsh : public CkoConnection {
public:
    CkoSsh();
    ~CkoSsh();

    int OpenSessionChannel(); // The channel's number, from 0; negative for a failure.
    // Runs the command through the login's shell in its home directory; returns when the request is accepted,
    // not when the command ends.
    bool SendReqExec(int channel, const std::string& command);
    // Whether the server has closed the channel, or the connection is gone. Reads nothing.
    bool ChannelReceivedClose(int channel);
    // Reads what arrives into the channel's buffer, until there is something or the time is over, and gives
    // the number of bytes now waiting: 0 when nothing, negative on failure. Notes a close. The error output
    // of the command comes with its output.
    int ChannelReadAndPoll(int channel, int pollTimeoutMs);
    std::vector<std::uint8_t> GetReceivedDataN(int channel, int numBytes); // Takes them out of the buffer.
    // Sends input to the command: as many of the bytes as the server has room for now, whose number is
    // returned. Room comes with reading. Negative on failure.
    int ChannelSendData(int channel, std::span<const std::uint8_t> data);
    bool ChannelSendClose(int channel); // Ends the command's input; the command runs to its end.
    bool ChannelReceiveToClose(int channel); // Reads until the command has ended; the output is dropped.
    int GetChannelExitStatus(int channel); // From 0 to 255; negative when the server hasn't told it.

private:
    explicit CkoSsh(std::unique_ptr<ClsSsh> impl);
    std::unique_ptr<ClsSsh> impl_;
};

} // namespace ssh
