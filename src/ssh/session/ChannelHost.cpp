#include "ssh/session/ChannelHost.h"

namespace ssh {

Status ChannelHost::exec(Channel& channel, const std::string& command)
{
    Status status = channels().requestExec(channel, command);
    if (status.ok())
        status = waitFor([&] { return channel.answer || channel.closeReceived; });
    if (!status.ok())
        return status;
    return channel.answer.value_or(false) ? Status()
                                          : Status(Error{"The server refused to start the command."});
}

} // namespace ssh
