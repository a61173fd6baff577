#pragma once

#include "ssh/crypto/Bytes.h"

#include <string>
#include <vector>

namespace ssh {

// Reads the data types of RFC 4251, section 5. A read past the end gives zero or an empty value, and makes
// ok() false for good: a parser reads all its fields and then asks once. Views point into the bytes given.
class WireReader {
public:
    explicit WireReader(ByteView bytes) : left_(bytes) { }
    std::uint8_t byte();
    bool boolean() { return byte() != 0; }
    std::uint32_t uint32();
    std::uint64_t uint64();
    ByteView string();
    std::string text() { return std::string(textOf(string())); }
    std::vector<std::string> nameList();
    ByteView bytes(std::size_t count);
    // The magnitude of an mpint without leading zeros. Negative numbers fail: the protocol uses none.
    ByteView mpint();

    std::size_t remaining() const { return left_.size(); }
    ByteView rest() const { return left_; }
    bool ok() const { return ok_; }
    bool okAndEmpty() const { return ok_ && left_.empty(); }
    void fail()
    {
        ok_ = false;
        left_ = {};
    }

private:
    ByteView left_;
    bool ok_ = true;
};

// Appends the data types of RFC 4251, section 5.
class WireWriter {
public:
    WireWriter() = default;
    explicit WireWriter(std::uint8_t message) { byte(message); }

    WireWriter& byte(std::uint8_t value);
    WireWriter& boolean(bool value) { return byte(value ? 1 : 0); }
    WireWriter& uint32(std::uint32_t value);
    WireWriter& uint64(std::uint64_t value);
    WireWriter& string(ByteView bytes);
    WireWriter& string(std::string_view text) { return string(viewOf(text)); }
    WireWriter& nameList(const std::vector<std::string>& names);
    WireWriter& raw(ByteView bytes);
    WireWriter& mpint(ByteView magnitude); // Unsigned, big-endian; leading zeros are dropped.

    const Bytes& bytes() const { return bytes_; }
    Bytes take() { return std::move(bytes_); }
    operator ByteView() const { return bytes_; }

private:
    Bytes bytes_;
};

std::vector<std::string> splitNames(std::string_view list);
std::string joinNames(const std::vector<std::string>& names);
inline void storeUint32(std::uint8_t* to, std::uint32_t value)
{
    to[0] = static_cast<std::uint8_t>(value >> 24);
    to[1] = static_cast<std::uint8_t>(value >> 16);
    to[2] = static_cast<std::uint8_t>(value >> 8);
    to[3] = static_cast<std::uint8_t>(value);
}
inline std::uint32_t loadUint32(const std::uint8_t* from)
{
    return std::uint32_t{from[0]} << 24 | std::uint32_t{from[1]} << 16 | std::uint32_t{from[2]} << 8
        | from[3];
}

} // namespace ssh
