#include "ssh/session/CkoSsh.h"

#include "ssh/session/ClsSsh.h"
#include "ssh/session/SharedConnection.h"

namespace ssh {

CkoSsh::CkoSsh() : CkoSsh(std::make_unique<ClsSsh>()) { }

CkoSsh::CkoSsh(std::unique_ptr<ClsSsh> impl) : CkoConnection(*impl), impl_(std::move(impl)) { }

CkoSsh::~CkoSsh() = default;

Result<std::shared_ptr<SharedConnection>> CkoSsh::Share(
    std::unique_ptr<CkoSsh> connection, const SharedLimits& limits)
{
    SshTransport& transport = connection->impl_->transport();
    return SharedConnection::over(transport, std::move(connection), limits);
}

int CkoSsh::OpenSessionChannel()
{
    return impl_->openSessionChannel();
}

int CkoSsh::OpenForwardChannel(const std::string& host, int port)
{
    return impl_->openForwardChannel(host, port);
}

int CkoSsh::Descriptor() const
{
    return impl_->descriptor();
}

bool CkoSsh::HasUnsent() const
{
    return impl_->hasUnsent();
}

bool CkoSsh::SendReqExec(int channel, const std::string& command)
{
    return impl_->sendReqExec(channel, command);
}

bool CkoSsh::ChannelReceivedClose(int channel)
{
    return impl_->channelReceivedClose(channel);
}

int CkoSsh::ChannelReadAndPoll(int channel, int pollTimeoutMs)
{
    return impl_->channelReadAndPoll(channel, pollTimeoutMs);
}

std::vector<std::uint8_t> CkoSsh::GetReceivedDataN(int channel, int numBytes)
{
    return impl_->getReceivedDataN(channel, numBytes);
}

int CkoSsh::ChannelSendData(int channel, std::span<const std::uint8_t> data)
{
    return impl_->channelSendData(channel, data);
}
bool CkoSsh::ChannelSendClose(int channel)
{
    return impl_->channelSendClose(channel);
}
bool CkoSsh::ChannelReceiveToClose(int channel)
{
    return impl_->channelReceiveToClose(channel);
}
int CkoSsh::GetChannelExitStatus(int channel)
{
    return impl_->channelExitStatus(channel);
}

} // namespace ssh
