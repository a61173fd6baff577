#pragma once

#include "platform/Result.h"
#include "ssh/crypto/Bytes.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace ssh {

// One session channel of a connection.
struct Channel {
    enum class State { Opening, Open, Refused };
    State state = State::Opening;
    std::string refusal; // Why the server didn't open it.
    std::uint32_t remoteNumber = 0;

    ByteQueue received; // Output of the command that the caller hasn't taken yet.
    std::uint32_t inWindow = 0; // Bytes that the server may still send.
    std::uint32_t inTarget = 0; // The window's size when it is full.
    std::uint32_t unacknowledged = 0; // Bytes taken and not yet given back to the window.

    ByteQueue waiting; // Bytes to send when the server's window has room.
    std::uint32_t outWindow = 0;
    std::uint32_t largestOutWindow = 0; // The largest so far: a window may open at 0 and grow.
    std::uint32_t outPacket = 0; // Most bytes in one message.

    bool takesErrorOutput = true; // Error output joins the output; otherwise it is dropped.
    bool endSent = false;
    bool closeReceived = false; // Our close has gone out in answer.
    std::optional<bool> answer; // To the last request that wanted one.
    std::optional<std::uint32_t> exitStatus;
};

// The channels of one connection, by number: RFC 4254, sections 5 and 6. Takes messages and
// sends answers through the given function; never waits. A server that sends more than its window allows is a
// failure, which bounds the memory of a channel.
class ChannelTable {
public:
    using Send = std::function<Status(ByteView head, ByteView body)>;
    using Numbers = std::function<std::uint32_t()>;
    // `numbers` gives each new channel its number, for tables that share a connection; from 0 without it.
    explicit ChannelTable(Send send, Numbers numbers = nullptr)
        : send_(std::move(send)), numbers_(std::move(numbers))
    { }
    // With the type's own data behind.
    Result<std::uint32_t> open(std::uint32_t window, std::uint32_t maximumPacket,
        std::string_view type = "session", ByteView data = {});
    Channel* find(std::uint32_t number); // Null for a number that was never opened.

    Status receive(ByteView payload); // A message with a number from 80 to 127.
    // Takes the messages of channels that this table doesn't have, which otherwise are a failure.
    using Elsewhere = std::function<Status(std::uint32_t channel, ByteView payload)>;
    void setElsewhere(Elsewhere elsewhere) { elsewhere_ = std::move(elsewhere); }
    // Sends a message of such a channel as it is.
    Status relay(ByteView head, ByteView body) { return send_(head, body); }
    Status requestExec(Channel& channel, std::string_view command);
    Status requestSubsystem(Channel& channel, std::string_view name);
    Status widen(Channel& channel, std::uint32_t target); // Raises the window to that many bytes.
    // Sends the parts, concatenated: as much as the window allows now, the rest later.
    Status write(Channel& channel, ByteView head, ByteView body = {});
    // Removes bytes from `received` and gives their room back to the server.
    Status consume(Channel& channel, std::size_t count);
    Status sendEnd(Channel& channel);

private:
    Status receiveForChannel(Channel& channel, std::uint8_t number, ByteView body);
    Status receiveData(Channel& channel, ByteView data, bool wanted);
    Status receiveRequest(Channel& channel, ByteView body);
    Status receiveConfirmation(Channel& channel, ByteView body);
    Status receiveRefusal(Channel& channel, ByteView body);
    Status receiveClose(Channel& channel);
    Status request(Channel& channel, std::string_view type, std::string_view argument);
    Status refill(Channel& channel, std::size_t count);
    Status sendPiece(Channel& channel, ByteView piece);
    Status sendWaiting(Channel& channel);

    Send send_;
    Numbers numbers_;
    Elsewhere elsewhere_;
    std::map<std::uint32_t, std::unique_ptr<Channel>> channels_;
};

} // namespace ssh
