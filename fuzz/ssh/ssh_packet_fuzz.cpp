// The packet layer after a key exchange. The first byte chooses cipher, MAC and compression; the rest is
// either the stream as it comes, or a stream of the right form in which the last bytes turn bits round.

#include "ssh/Payloads.h"

#include "platform/Gcrypt.h"
#include "ssh/transport/PacketCodec.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace ssh;
    if (size < 8)
        return 0;
    platform::setUpGcrypt();
    constexpr const char* kCiphers[] = {"aes128-ctr", "3des-cbc", "arcfour128", "twofish128-cbc"};
    const Bytes key(64, 7);
    const auto protection = [&] {
        const CipherInfo& cipher = *findCipher(kCiphers[data[0] & 3]);
        const MacInfo& mac = *findMac(data[0] & 4 ? "hmac-sha1" : "none");
        return PacketCodec::Protection{
            std::move(*PacketCipher::create(cipher, key, key)), std::move(*PacketMac::create(mac, key))};
    };
    PacketCodec receiver;
    receiver.protectIncoming(protection(), false);
    receiver.decompressIncoming(data[0] & 8);
    const ByteView rest(data + 1, size - 1);
    if (data[0] & 16) {
        receiver.input().append(rest);
    } else {
        PacketCodec sender;
        sender.protectOutgoing(protection(), false);
        sender.compressOutgoing((data[0] & 32) != 0);
        for (const ByteView payload : splitPayloads(rest.first(rest.size() - 4)))
            (void)sender.seal(payload);
        receiver.input().append(sender.output().view());
        const std::size_t at = std::size_t{rest[rest.size() - 4]} << 8 | rest[rest.size() - 3];
        if (at < receiver.input().size())
            receiver.input().data()[at] ^= rest.back();
    }
    for (;;) {
        const auto packet = receiver.next();
        if (!packet.ok() || !*packet)
            return 0;
    }
}
