#pragma once

#include "platform/Result.h"
#include "ssh/crypto/Bytes.h"
#include "ssh/crypto/Crypto.h"

#include <string_view>

namespace ssh {

// One cipher of the settled list: RFC 4253, section 6.3 (the older ones), RFC 4344 (counter modes), RFC 4345
// (arcfour128, arcfour256).
struct CipherInfo {
    std::string_view name;
    int algorithm; // A GCRY_CIPHER_ number.
    int mode;
    std::size_t keySize; // Bytes.
    std::size_t blockSize; // Bytes; a stream cipher counts as 8, RFC 4253, section 6.
    std::size_t ivSize;
    std::size_t discard; // RFC 4345: bytes of key stream to skip before the first packet.
};
const CipherInfo* findCipher(std::string_view name); // Null for an unknown name.

// One MAC of the settled list: RFC 4253, section 6.4, and RFC 6668. The size of "none" is 0.
struct MacInfo {
    std::string_view name;
    int algorithm; // A GCRY_MD_ number.
    std::size_t size; // Bytes of the key and of the code.
};
const MacInfo* findMac(std::string_view name);

// The cipher of one direction. Works in place, and keeps its state from packet to packet. Without a key it
// changes nothing.
class PacketCipher {
public:
    PacketCipher() = default;
    PacketCipher(PacketCipher&& other) noexcept { *this = std::move(other); }
    PacketCipher& operator=(PacketCipher&& other) noexcept;
    ~PacketCipher() { gcry_cipher_close(handle_); }
    static Result<PacketCipher> create(const CipherInfo& info, ByteView key, ByteView iv);

    std::size_t blockSize() const { return blockSize_; }
    void encrypt(std::span<std::uint8_t> bytes);
    void decrypt(std::span<std::uint8_t> bytes);

private:
    gcry_cipher_hd_t handle_ = nullptr;
    std::size_t blockSize_ = 8;
};

// The MAC of one direction: RFC 4253, section 6.4, over the sequence number and the plain packet.
class PacketMac {
public:
    PacketMac() = default;
    PacketMac(PacketMac&& other) noexcept { *this = std::move(other); }
    PacketMac& operator=(PacketMac&& other) noexcept;
    ~PacketMac() { gcry_md_close(handle_); }
    static Result<PacketMac> create(const MacInfo& info, ByteView key);

    std::size_t size() const { return size_; }
    // Valid until the next call; empty without a key.
    ByteView compute(std::uint32_t sequence, ByteView packet);

private:
    gcry_md_hd_t handle_ = nullptr;
    std::size_t size_ = 0;
};

} // namespace ssh
