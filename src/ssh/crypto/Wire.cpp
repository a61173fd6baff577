#include "ssh/crypto/Wire.h"

namespace ssh {

ByteView WireReader::bytes(std::size_t count)
{
    if (count > left_.size()) {
        fail();
        return {};
    }
    const ByteView taken = left_.first(count);
    left_ = left_.subspan(count);
    return taken;
}

std::uint8_t WireReader::byte()
{
    const ByteView taken = bytes(1);
    return taken.empty() ? std::uint8_t{0} : taken[0];
}

std::uint32_t WireReader::uint32()
{
    const ByteView taken = bytes(4);
    return taken.empty() ? 0 : loadUint32(taken.data());
}

std::uint64_t WireReader::uint64()
{
    const std::uint64_t high = uint32();
    return high << 32 | uint32();
}

ByteView WireReader::string()
{
    return bytes(uint32());
}

std::vector<std::string> WireReader::nameList()
{
    return splitNames(textOf(string()));
}

ByteView WireReader::mpint()
{
    ByteView magnitude = string();
    if (!magnitude.empty() && magnitude[0] & 0x80) {
        fail();
        return {};
    }
    while (!magnitude.empty() && magnitude[0] == 0)
        magnitude = magnitude.subspan(1);
    return magnitude;
}

WireWriter& WireWriter::byte(std::uint8_t value)
{
    bytes_.push_back(value);
    return *this;
}

WireWriter& WireWriter::uint32(std::uint32_t value)
{
    std::uint8_t encoded[4];
    storeUint32(encoded, value);
    return raw(encoded);
}

WireWriter& WireWriter::uint64(std::uint64_t value)
{
    return uint32(static_cast<std::uint32_t>(value >> 32)).uint32(static_cast<std::uint32_t>(value));
}

WireWriter& WireWriter::string(ByteView bytes)
{
    return uint32(static_cast<std::uint32_t>(bytes.size())).raw(bytes);
}

WireWriter& WireWriter::nameList(const std::vector<std::string>& names)
{
    return string(joinNames(names));
}

WireWriter& WireWriter::raw(ByteView bytes)
{
    append(bytes_, bytes);
    return *this;
}

WireWriter& WireWriter::mpint(ByteView magnitude)
{
    while (!magnitude.empty() && magnitude[0] == 0)
        magnitude = magnitude.subspan(1);
    // A set top bit would read as a negative number.
    const bool extra = !magnitude.empty() && magnitude[0] & 0x80;
    uint32(static_cast<std::uint32_t>(magnitude.size() + (extra ? 1 : 0)));
    if (extra)
        byte(0);
    return raw(magnitude);
}

std::vector<std::string> splitNames(std::string_view list)
{
    std::vector<std::string> names;
    while (!list.empty()) {
        const auto comma = list.find(',');
        names.emplace_back(list.substr(0, comma));
        list = comma == std::string_view::npos ? std::string_view{} : list.substr(comma + 1);
    }
    return names;
}

std::string joinNames(const std::vector<std::string>& names)
{
    std::string list;
    for (const std::string& name : names)
        list += (list.empty() ? "" : ",") + name;
    return list;
}

} // namespace ssh
