#pragma once

#include "ssh/transport/Compression.h"
#include "ssh/transport/PacketCipher.h"

#include <optional>

namespace ssh {

// The binary packet protocol of RFC 4253, section 6, for either end of a connection. It takes and gives bytes
// and knows no socket: what arrives is put into `input()`, `next()` takes packets out of it; `seal()` appends
// packets to `output()`. One thread.
class PacketCodec {
public:
    // Bytes in a packet, and in its payload after decompression. RFC 4253, section 6.1, asks for 35000.
    static constexpr std::size_t kMaximumPacket = std::size_t{256} * 1024;

    // What one direction works with after a key exchange.
    struct Protection {
        PacketCipher cipher;
        PacketMac mac;
    };

    // Sequence numbers start at 0 on a real connection.
    explicit PacketCodec(std::uint32_t firstSequence = 0)
        : in_{.sequence = firstSequence, .packets = firstSequence}, out_{.sequence = firstSequence,
                                                                        .packets = firstSequence}
    { }

    ByteQueue& input() { return input_; }
    ByteQueue& output() { return output_; }

    // Appends one packet whose payload is `head` followed by `body`.
    Status seal(ByteView head, ByteView body = {});

    // The payload of the next packet, valid until the next call; nothing when it isn't complete yet. After a
    // failure the connection is of no further use.
    Result<std::optional<ByteView>> next();
    std::uint32_t lastSequence() const { return in_.sequence - 1; } // Of the packet last given by next().

    // Hands over new keys, from the next packet on. The strict key exchange starts counting at 0 again.
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
    std::size_t pending_ = 0; // Bytes at the start of the input that next() gave out last.
    std::size_t length_ = 0; // Packet length of the packet at hand, once its first block has been decrypted.
};

} // namespace ssh
