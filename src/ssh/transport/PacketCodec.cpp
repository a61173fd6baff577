#include "ssh/transport/PacketCodec.h"

#include "ssh/crypto/Wire.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace ssh {

namespace {

constexpr std::size_t kLengthField = 4;
constexpr std::size_t kMinimumPadding = 4;
// RFC 4253, section 6: a packet has at least 16 bytes, the length field included, or one cipher block.
constexpr std::size_t kMinimumPacket = 16;

} // namespace

Status PacketCodec::countPacket(Direction& direction)
{
    // If a number were used twice under one key, a packet could be replayed.
    if (++direction.packets > 0xffffffffu)
        return Error{"The packet sequence number came round without new keys."};
    ++direction.sequence;
    return {};
}

Status PacketCodec::seal(ByteView head, ByteView body)
{
    if (deflater_) {
        compressed_.clear();
        Status status = deflater_->compress(head, body, compressed_);
        if (!status.ok())
            return status;
        head = compressed_;
        body = {};
    }
    const std::size_t block = std::max<std::size_t>(out_.protection.cipher.blockSize(), 8);
    const std::size_t payload = head.size() + body.size();
    std::size_t padding = block - (kLengthField + 1 + payload) % block;
    if (padding < kMinimumPadding) // With it, no packet is shorter than the minimum.
        padding += block;
    const std::size_t total = kLengthField + 1 + payload + padding;
    if (total - kLengthField > kMaximumPacket)
        return Error{"A packet to be sent is too long."};

    std::uint8_t* packet = output_.prepare(total + out_.protection.mac.size());
    storeUint32(packet, static_cast<std::uint32_t>(total - kLengthField));
    packet[4] = static_cast<std::uint8_t>(padding);
    std::uint8_t* to = std::copy(head.begin(), head.end(), packet + 5);
    to = std::copy(body.begin(), body.end(), to);
    nonceBytes({to, padding});
    const ByteView code = out_.protection.mac.compute(out_.sequence, {packet, total});
    std::copy(code.begin(), code.end(), packet + total);
    out_.protection.cipher.encrypt({packet, total});
    output_.commit(total + code.size());
    return countPacket(out_);
}

Status PacketCodec::decryptLength()
{
    const std::size_t block = in_.protection.cipher.blockSize();
    in_.protection.cipher.decrypt({input_.data(), block});
    length_ = loadUint32(input_.data());
    if (length_ > kMaximumPacket)
        return Error{"A packet claims to be " + std::to_string(length_) + " bytes long, beyond the limit of "
            + std::to_string(kMaximumPacket) + "."};
    if (length_ + kLengthField < std::max(kMinimumPacket, block))
        return Error{"Packet smaller than minimum size."};
    if ((length_ + kLengthField) % block != 0)
        return Error{"A packet isn't a whole number of cipher blocks long."};
    return {};
}

Result<std::optional<ByteView>> PacketCodec::next()
{
    input_.consume(pending_);
    pending_ = 0;
    if (length_ == 0) {
        if (input_.size() < std::max(kLengthField, in_.protection.cipher.blockSize()))
            return std::optional<ByteView>();
        const Status status = decryptLength();
        if (!status.ok())
            return status.error();
    }
    const std::size_t total = kLengthField + length_;
    const std::size_t macSize = in_.protection.mac.size();
    if (input_.size() < total + macSize)
        return std::optional<ByteView>();
    const std::size_t done = in_.protection.cipher.blockSize();
    in_.protection.cipher.decrypt({input_.data() + done, total - done});
    const ByteView packet = input_.view().first(total);
    const ByteView code = in_.protection.mac.compute(in_.sequence, packet);
    if (!equalInConstantTime(code, input_.view().subspan(total, macSize)))
        return Error{
            "A packet failed its integrity check: the data was damaged or tampered with on its way."};
    const std::size_t padding = packet[4];
    if (padding < kMinimumPadding || padding + 1 >= length_)
        return Error{"The padding of a packet has an impossible length."};
    length_ = 0;
    pending_ = total + macSize;
    const Status counted = countPacket(in_);
    if (!counted.ok())
        return counted.error();
    const ByteView payload = packet.subspan(kLengthField + 1, total - kLengthField - 1 - padding);
    if (!inflater_)
        return std::optional<ByteView>(payload);
    decompressed_.clear();
    const Status status = inflater_->decompress(payload, kMaximumPacket, decompressed_);
    if (!status.ok())
        return status.error();
    if (decompressed_.empty())
        return Error{"A compressed packet is empty."};
    return std::optional<ByteView>(decompressed_);
}

void PacketCodec::protectIncoming(Protection protection, bool resetSequence)
{
    in_.protection = std::move(protection);
    in_.packets = 0;
    if (resetSequence)
        in_.sequence = 0;
}

void PacketCodec::protectOutgoing(Protection protection, bool resetSequence)
{
    out_.protection = std::move(protection);
    out_.packets = 0;
    if (resetSequence)
        out_.sequence = 0;
}

void PacketCodec::compressOutgoing(bool on)
{
    deflater_ = on ? std::make_unique<Deflater>() : nullptr;
}

void PacketCodec::decompressIncoming(bool on)
{
    inflater_ = on ? std::make_unique<Inflater>() : nullptr;
}

} // namespace ssh
