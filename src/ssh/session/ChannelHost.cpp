#include "ssh/session/ChannelHost.h"

namespace ssh {

Result<std::uint32_t> ChannelHost::openChannel(bool takesErrorOutput)
{
    const auto number = requestChannel(takesErrorOutput);
    const Status opened = number.ok() ? awaitChannel(*number) : Status(number.error());
    return opened.ok() ? number : opened.error();
}

Status ChannelHost::awaitChannel(std::uint32_t number)
{
    Channel* opened = channel(number);
    if (!opened)
        return Error{"There is no channel " + std::to_string(number) + "."};
    if (Status status = waitFor([opened] { return opened->state != Channel::State::Opening; }); !status.ok())
        return status;
    if (opened->state == Channel::State::Refused)
        return Error{"The server doesn't open a channel: " + opened->refusal + "."};
    return channels().widen(*opened, openWindow());
}

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
