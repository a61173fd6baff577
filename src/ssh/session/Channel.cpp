#include "ssh/session/Channel.h"

#include "ssh/crypto/Wire.h"
#include "ssh/transport/Messages.h"

#include <algorithm>
#include <limits>

namespace ssh {

namespace {

Error malformedMessage()
{
    return Error{"The server sent a damaged channel message."};
}

constexpr std::size_t kMostChannels = 1000;
constexpr std::uint32_t kRefillStep = 256 * 1024;

} // namespace

Result<std::uint32_t> ChannelTable::open(
    std::uint32_t window, std::uint32_t maximumPacket, std::string_view type, ByteView data)
{
    if (channels_.size() >= kMostChannels)
        return Error{"Too many channels have been opened on this connection."};
    const std::uint32_t number = numbers_ ? numbers_() : static_cast<std::uint32_t>(channels_.size());
    auto channel = std::make_unique<Channel>();
    channel->inWindow = channel->inTarget = window;
    channels_[number] = std::move(channel);
    const Status sent = send_(WireWriter(message::kChannelOpen)
                                  .string(type)
                                  .uint32(number)
                                  .uint32(window)
                                  .uint32(maximumPacket)
                                  .raw(data),
        {});
    if (!sent.ok())
        return sent.error();
    return number;
}

Channel* ChannelTable::find(std::uint32_t number)
{
    const auto found = channels_.find(number);
    return found == channels_.end() ? nullptr : found->second.get();
}

Status ChannelTable::receive(ByteView payload)
{
    WireReader reader(payload.subspan(1));
    if (payload[0] == message::kGlobalRequest) {
        reader.string();
        const bool wantsReply = reader.boolean();
        if (!reader.ok())
            return malformedMessage();
        return wantsReply ? send_(WireWriter(message::kRequestFailure), {}) : Status();
    }
    if (payload[0] == message::kChannelOpen) { // This client accepts no channels.
        reader.string();
        const std::uint32_t number = reader.uint32();
        if (!reader.ok())
            return malformedMessage();
        constexpr std::uint32_t kProhibited = 1;
        return send_(WireWriter(message::kChannelOpenFailure)
                         .uint32(number)
                         .uint32(kProhibited)
                         .string("Not offered.")
                         .string(std::string_view()),
            {});
    }
    if (payload[0] == message::kRequestSuccess || payload[0] == message::kRequestFailure)
        return {};
    const std::uint32_t number = reader.uint32();
    Channel* channel = find(number);
    if (reader.ok() && !channel && elsewhere_)
        return elsewhere_(number, payload);
    if (!reader.ok() || !channel)
        return Error{"The server sent a message for a channel that isn't there."};
    if (channel->closeReceived)
        return Error{"The server sent a message for a channel that it has closed."};
    return receiveForChannel(*channel, payload[0], reader.rest());
}

Status ChannelTable::receiveForChannel(Channel& channel, std::uint8_t number, ByteView body)
{
    const bool opening = channel.state == Channel::State::Opening;
    const bool answersOpening =
        number == message::kChannelOpenConfirmation || number == message::kChannelOpenFailure;
    if (opening != answersOpening)
        return Error{"The server sent a channel message out of turn."};
    WireReader reader(body);
    switch (number) {
    case message::kChannelOpenConfirmation:
        return receiveConfirmation(channel, body);
    case message::kChannelOpenFailure:
        return receiveRefusal(channel, body);
    case message::kChannelWindowAdjust: {
        const std::uint32_t more = reader.uint32();
        if (!reader.ok() || more > std::numeric_limits<std::uint32_t>::max() - channel.outWindow)
            return malformedMessage();
        channel.outWindow += more;
        channel.largestOutWindow = std::max(channel.largestOutWindow, channel.outWindow);
        return sendWaiting(channel);
    }
    case message::kChannelData: {
        const ByteView data = reader.string();
        return reader.ok() ? receiveData(channel, data, true) : malformedMessage();
    }
    case message::kChannelExtendedData: {
        reader.uint32();
        const ByteView data = reader.string();
        return reader.ok() ? receiveData(channel, data, channel.takesErrorOutput) : malformedMessage();
    }
    case message::kChannelEof:
        return {}; // Only the close that follows matters.
    case message::kChannelClose:
        return receiveClose(channel);
    case message::kChannelRequest:
        return receiveRequest(channel, body);
    case message::kChannelSuccess:
    case message::kChannelFailure:
        channel.answer = number == message::kChannelSuccess;
        return {};
    default:
        return Error{"The server sent a channel message of an unknown kind."};
    }
}

Status ChannelTable::receiveConfirmation(Channel& channel, ByteView body)
{
    WireReader reader(body);
    channel.remoteNumber = reader.uint32();
    channel.outWindow = channel.largestOutWindow = reader.uint32();
    channel.outPacket = reader.uint32();
    if (!reader.ok() || channel.outPacket == 0)
        return malformedMessage();
    // PacketCodec has its own limit.
    channel.outPacket = std::min<std::uint32_t>(channel.outPacket, 128 * 1024);
    channel.state = Channel::State::Open;
    return {};
}

Status ChannelTable::receiveRefusal(Channel& channel, ByteView body)
{
    WireReader reader(body);
    const std::uint32_t reason = reader.uint32();
    channel.refusal = printable(reader.text());
    if (!reader.ok())
        return malformedMessage();
    if (channel.refusal.empty())
        channel.refusal = "reason " + std::to_string(reason);
    channel.state = Channel::State::Refused;
    channel.closeReceived = true;
    return {};
}

Status ChannelTable::receiveData(Channel& channel, ByteView data, bool wanted)
{
    if (data.size() > channel.inWindow)
        return Error{"The server sent more data than the channel's window allows."};
    channel.inWindow -= static_cast<std::uint32_t>(data.size());
    if (!wanted)
        return refill(channel, data.size());
    channel.received.append(data);
    return {};
}

Status ChannelTable::receiveClose(Channel& channel)
{
    channel.closeReceived = true;
    channel.waiting.release();
    if (channel.received.empty())
        channel.received.release();
    return send_(WireWriter(message::kChannelClose).uint32(channel.remoteNumber), {});
}

Status ChannelTable::receiveRequest(Channel& channel, ByteView body)
{
    WireReader reader(body);
    const std::string type = reader.text();
    const bool wantsReply = reader.boolean();
    if (type == "exit-status")
        channel.exitStatus = reader.uint32();
    if (!reader.ok())
        return malformedMessage();
    if (!wantsReply)
        return {};
    return send_(WireWriter(message::kChannelFailure).uint32(channel.remoteNumber), {});
}

Status ChannelTable::request(Channel& channel, std::string_view type, std::string_view argument)
{
    if (channel.closeReceived)
        return Error{"The channel has been closed."};
    channel.answer.reset();
    return send_(WireWriter(message::kChannelRequest)
                     .uint32(channel.remoteNumber)
                     .string(type)
                     .boolean(true)
                     .string(argument),
        {});
}

Status ChannelTable::requestExec(Channel& channel, std::string_view command)
{
    return request(channel, "exec", command);
}

Status ChannelTable::requestSubsystem(Channel& channel, std::string_view name)
{
    return request(channel, "subsystem", name);
}

Status ChannelTable::widen(Channel& channel, std::uint32_t target)
{
    if (target <= channel.inTarget)
        return {};
    const std::uint32_t more = target - channel.inTarget;
    channel.inTarget = target;
    channel.inWindow += more;
    return send_(WireWriter(message::kChannelWindowAdjust).uint32(channel.remoteNumber).uint32(more), {});
}

Status ChannelTable::refill(Channel& channel, std::size_t count)
{
    channel.unacknowledged += static_cast<std::uint32_t>(count);
    // Few messages, and yet steps that are small compared to a wide window.
    if (channel.unacknowledged < std::min(channel.inTarget / 2, kRefillStep) || channel.closeReceived)
        return {};
    const std::uint32_t more = channel.unacknowledged;
    channel.unacknowledged = 0;
    channel.inWindow += more;
    return send_(WireWriter(message::kChannelWindowAdjust).uint32(channel.remoteNumber).uint32(more), {});
}

Status ChannelTable::consume(Channel& channel, std::size_t count)
{
    channel.received.consume(count);
    // A connection can run many commands: free the buffer of a finished one.
    if (channel.closeReceived && channel.received.empty())
        channel.received.release();
    return refill(channel, count);
}

Status ChannelTable::sendPiece(Channel& channel, ByteView piece)
{
    channel.outWindow -= static_cast<std::uint32_t>(piece.size());
    WireWriter head(message::kChannelData);
    head.uint32(channel.remoteNumber).uint32(static_cast<std::uint32_t>(piece.size()));
    return send_(head, piece);
}

Status ChannelTable::sendWaiting(Channel& channel)
{
    while (!channel.waiting.empty() && channel.outWindow > 0) {
        const std::size_t count = std::min<std::size_t>(
            {channel.waiting.size(), std::size_t{channel.outWindow}, std::size_t{channel.outPacket}});
        Status sent = sendPiece(channel, channel.waiting.view().first(count));
        if (!sent.ok())
            return sent;
        channel.waiting.consume(count);
    }
    return {};
}

Status ChannelTable::write(Channel& channel, ByteView head, ByteView body)
{
    if (channel.state != Channel::State::Open || channel.closeReceived || channel.endSent)
        return Error{"The channel has been closed."};
    channel.waiting.append(head);
    // The usual case: both parts fit into one message, and nothing needs to be copied.
    const std::size_t whole = channel.waiting.size() + body.size();
    if (channel.waiting.size() == head.size() && whole <= channel.outWindow && whole <= channel.outPacket) {
        channel.waiting.clear();
        channel.outWindow -= static_cast<std::uint32_t>(whole);
        WireWriter first(message::kChannelData);
        first.uint32(channel.remoteNumber).uint32(static_cast<std::uint32_t>(whole)).raw(head);
        return send_(first, body);
    }
    channel.waiting.append(body);
    return sendWaiting(channel);
}

Status ChannelTable::sendEnd(Channel& channel)
{
    if (channel.endSent || channel.closeReceived)
        return {};
    channel.endSent = true;
    return send_(WireWriter(message::kChannelEof).uint32(channel.remoteNumber), {});
}

} // namespace ssh
