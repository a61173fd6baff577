#include "ssh/session/ClsSsh.h"

#include <algorithm>
#include <limits>

namespace ssh {

namespace {

constexpr std::size_t kEnoughUnsent = std::size_t{512} * 1024; // Bytes that keep the socket busy.

TransportSettings commandDefaults()
{
    TransportSettings settings;
    settings.maximumPacket = 8192;
    settings.openWindow = 2 * 1024 * 1024;
    return settings;
}

} // namespace

ClsSsh::ClsSsh() : ClsConnection(commandDefaults()) { }

Result<Channel*> ClsSsh::openedChannel(int number)
{
    Channel* channel = number < 0 ? nullptr : host().channel(static_cast<std::uint32_t>(number));
    if (!channel)
        return Error{"There is no channel " + std::to_string(number) + "."};
    return channel;
}

int ClsSsh::openSessionChannel()
{
    return call(-1, [&]() -> Result<int> {
        const auto number = host().openChannel(true);
        return number.ok() ? Result<int>(static_cast<int>(*number)) : Result<int>(number.error());
    });
}

int ClsSsh::openForwardChannel(const std::string& host, int port)
{
    return call(-1, [&]() -> Result<int> {
        const auto number = transport_.openForward(host, port);
        return number.ok() ? Result<int>(static_cast<int>(*number)) : Result<int>(number.error());
    });
}

int ClsSsh::descriptor() const
{
    const std::lock_guard lock(lock_);
    return transport_.descriptor();
}

bool ClsSsh::hasUnsent() const
{
    const std::lock_guard lock(lock_);
    return transport_.connected() && transport_.unsent() > 0;
}

bool ClsSsh::sendReqExec(int channel, const std::string& command)
{
    return check([&]() -> Status {
        const auto opened = openedChannel(channel);
        return opened.ok() ? host().exec(**opened, command) : Status(opened.error());
    });
}

bool ClsSsh::channelReceivedClose(int channel)
{
    const std::lock_guard lock(lock_);
    const auto opened = openedChannel(channel);
    // A lost connection counts as closed: callers loop until the close.
    return !opened.ok() || (*opened)->closeReceived || !host().connected();
}

int ClsSsh::channelReadAndPoll(int channel, int pollTimeoutMs)
{
    return call(-1, [&]() -> Result<int> {
        const auto opened = openedChannel(channel);
        if (!opened.ok())
            return opened.error();
        Channel& at = **opened;
        const auto arrived = [&] { return !at.received.empty() || at.closeReceived; };
        // Output that is there already is returned at once, with all that can be read without waiting.
        const Deadline deadline = Clock::now() + std::chrono::milliseconds(std::max(pollTimeoutMs, 0));
        Status status = host().waitUntil(deadline, arrived);
        if (status.ok() && !at.closeReceived)
            status = host().waitUntil(Clock::now(), [&] { return at.closeReceived; });
        if (!status.ok() && at.received.empty())
            return status.error();
        return static_cast<int>(std::min<std::size_t>(at.received.size(), std::numeric_limits<int>::max()));
    });
}

std::vector<std::uint8_t> ClsSsh::getReceivedDataN(int channel, int numBytes)
{
    return call(std::vector<std::uint8_t>(), [&]() -> Result<std::vector<std::uint8_t>> {
        const auto opened = openedChannel(channel);
        if (!opened.ok())
            return opened.error();
        ByteQueue& received = (*opened)->received;
        const ByteView taken =
            received.view().first(std::min(received.size(), static_cast<std::size_t>(std::max(numBytes, 0))));
        std::vector<std::uint8_t> data(taken.begin(), taken.end());
        if (!host().connected()) {
            received.consume(data.size());
            return data;
        }
        const Status status = host().channels().consume(**opened, data.size());
        (void)host().flush(); // The next reading reports a broken connection.
        return status.ok() ? Result(std::move(data)) : Result<std::vector<std::uint8_t>>(status.error());
    });
}

Result<Channel*> ClsSsh::connectedChannel(int number)
{
    auto channel = openedChannel(number);
    if (channel.ok() && !host().connected())
        return Error{"The connection to the server is closed."};
    return channel;
}

int ClsSsh::channelSendData(int channel, ByteView data)
{
    return call(-1, [&]() -> Result<int> {
        const auto opened = connectedChannel(channel);
        if (!opened.ok())
            return opened.error();
        // Only what the socket can take soon, so that input doesn't pile up in memory.
        const std::size_t room = (*opened)->waiting.empty() && host().unsent() < kEnoughUnsent
            ? std::min<std::size_t>((*opened)->outWindow, kEnoughUnsent)
            : 0;
        const ByteView taken = data.first(std::min(data.size(), room));
        Status status = host().channels().write(**opened, taken);
        if (status.ok())
            status = host().flush();
        return status.ok() ? Result<int>(static_cast<int>(taken.size())) : Result<int>(status.error());
    });
}

bool ClsSsh::channelSendClose(int channel)
{
    return check([&]() -> Status {
        const auto opened = connectedChannel(channel);
        if (!opened.ok())
            return opened.error();
        // This sends only the end of our input. An OpenSSH server answers a close at once and leaves the
        // command running, and its end could not be waited for. Our close follows the server's: RFC 4254,
        // section 5.3.
        const Status status = host().channels().sendEnd(**opened);
        return status.ok() ? host().flush() : status;
    });
}

bool ClsSsh::channelReceiveToClose(int channel)
{
    return check([&]() -> Status {
        const auto opened = openedChannel(channel);
        if (!opened.ok())
            return opened.error();
        Channel& at = **opened;
        Status refilled;
        const Status status = host().waitFor([&] {
            refilled = host().channels().consume(at, at.received.size());
            return at.closeReceived || !refilled.ok();
        });
        return refilled.ok() ? status : refilled;
    });
}

int ClsSsh::channelExitStatus(int channel)
{
    return call(-1, [&]() -> Result<int> {
        const auto opened = openedChannel(channel);
        if (!opened.ok())
            return opened.error();
        if (!(*opened)->exitStatus)
            return Error{"The server has told no exit status."};
        return static_cast<int>(*(*opened)->exitStatus & 0xff);
    });
}

} // namespace ssh
