#pragma once

#include "ssh/transport/Compression.h"
#include "ssh/transport/PacketCipher.h"

#include <optional>

namespace ssh {

// The binary packet protocol of RFC 4253, section 6, for client or server, on bytes without a socket:
// `next()` takes packets out of `input()`, and `seal()` appends packets to `output()`. One thread at a time.
class PacketCodec {
public:
    // Most bytes of a packet, and of a decompressed payload. RFC 4253, section 6.1, asks for at least 35000.
    static constexpr std::size_t kMaximumPacket = std::size_t{256} * 1024;

    // The keys of one direction.
    struct Protection {
        PacketCipher cipher;
        PacketMac mac;
    };

    // A test may start near the end of the sequence numbers.
    explicit PacketCodec(std::uint32_t firstSequence = 0)
        : in_{.sequence = firstSequence, .packets = firstSequence}, out_{.sequence = firstSequence,
                                                                        .packets = firstSequence}
    { }

    ByteQueue& input() { return input_; }
    ByteQueue& output() { return output_; }

    // Appends one packet whose payload is `head` followed by `body`.
    Status seal(ByteView head, ByteView body = {});

    // The payload of the next packet, valid until the next call; nothing when it isn't complete yet. After a
    // failure the connection can't go on.
    Result<std::optional<ByteView>> next();
    std::uint32_t lastSequence() const { return in_.sequence - 1; } // Of the last packet from next().

    // New keys, from the next packet on. The strict key exchange resets the sequence numbers.
    void protectIncoming(Protection protection, bool resetSequence);
    void protectOutgoing(Protection protection, bool resetSequence);
    void compressOutgoing(bool on);
    void decompressIncoming(bool on);

private:
    struct Direction {
        Protection protection = {};
        std::uint32_t sequence = 0;
        std::uint64_t packets = 0; // Under the present keys.
    };
    Status decryptLength();
    Status countPacket(Direction& direction);

    Direction in_;
    Direction out_;
    ByteQueue input_;
    ByteQueue output_;
    std::unique_ptr<Deflater> deflater_;
    std::unique_ptr<Inflater> inflater_;
    Bytes compressed_;
    Bytes decompressed_;
    std::size_t pending_ = 0; // Bytes of the input that the last packet from next() takes.
    std::size_t length_ = 0; // Length of the incoming packet; 0 until its first block is decrypted.
};

} // namespace ssh
