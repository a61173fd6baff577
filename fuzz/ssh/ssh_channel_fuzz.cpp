// Messages about channels, while a program reads, writes and closes.

#include "ssh/Payloads.h"

#include "ssh/crypto/Wire.h"
#include "ssh/session/Channel.h"
#include "ssh/transport/Messages.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace ssh;
    std::size_t sent = 0;
    ChannelTable table([&](ByteView head, ByteView body) {
        sent += head.size() + body.size();
        return Status();
    });
    constexpr std::uint32_t kWindow = 70000;
    const auto number = table.open(kWindow, 32768);
    Channel& channel = *table.find(*number);
    if (size > 0 && data[0] & 1)
        (void)table.receive(
            WireWriter(message::kChannelOpenConfirmation).uint32(0).uint32(3).uint32(data[0]).uint32(100));
    for (const ByteView payload : splitPayloads({data, size})) {
        if (!table.receive(payload).ok())
            return 0;
        if (channel.received.size() > kWindow)
            std::abort();
        const bool open = channel.state == Channel::State::Open && !channel.closeReceived;
        if (open && payload.size() % 3 == 0)
            (void)table.write(channel, viewOf("head"), payload);
        if (open && payload.size() % 5 == 0)
            (void)table.requestExec(channel, "command");
        if (payload.size() % 2 == 0)
            (void)table.consume(channel, channel.received.size() / 2);
        if (open && payload.size() % 31 == 0)
            (void)table.sendEnd(channel);
    }
    return 0;
}
