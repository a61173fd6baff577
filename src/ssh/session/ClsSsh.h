#pragma once

#include "ssh/session/ClsConnection.h"

namespace ssh {

// The class behind CkoSsh: a connection whose session channels run commands.
class ClsSsh : public ClsConnection {
public:
    ClsSsh();

    int openSessionChannel();
    int openForwardChannel(const std::string& host, int port);
    int descriptor() const;
    bool hasUnsent() const;
    bool sendReqExec(int channel, const std::string& command);
    bool channelReceivedClose(int channel);
    int channelReadAndPoll(int channel, int pollTimeoutMs);
    std::vector<std::uint8_t> getReceivedDataN(int channel, int numBytes);
    int channelSendData(int channel, ByteView data);
    bool channelSendClose(int channel);
    bool channelReceiveToClose(int channel);
    int channelExitStatus(int channel);

private:
    Result<Channel*> openedChannel(int number);
    Result<Channel*> connectedChannel(int number);
};

} // namespace ssh
