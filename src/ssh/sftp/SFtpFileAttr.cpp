#include "ssh/sftp/SFtpFileAttr.h"

#include <limits>

namespace ssh {

namespace {

// The valid-attribute flags. Some bits mean something else in version 3.
constexpr std::uint32_t kSize = 0x1;
constexpr std::uint32_t kUidGid = 0x2; // Version 3.
constexpr std::uint32_t kPermissions = 0x4;
constexpr std::uint32_t kAccessTime = 0x8; // Version 3: access and modification time.
constexpr std::uint32_t kCreateTime = 0x10;
constexpr std::uint32_t kModifyTime = 0x20;
constexpr std::uint32_t kAcl = 0x40;
constexpr std::uint32_t kOwnerGroup = 0x80;
constexpr std::uint32_t kSubseconds = 0x100;
constexpr std::uint32_t kBits = 0x200; // From version 5.
constexpr std::uint32_t kAllocationSize = 0x400; // From version 6, as the rest.
constexpr std::uint32_t kTextHint = 0x800;
constexpr std::uint32_t kMimeType = 0x1000;
constexpr std::uint32_t kLinkCount = 0x2000;
constexpr std::uint32_t kUntranslatedName = 0x4000;
constexpr std::uint32_t kChangeTime = 0x8000;
constexpr std::uint32_t kExtended = 0x80000000;

SFtpFileAttr::Type typeFromMode(std::uint32_t mode)
{
    using Type = SFtpFileAttr::Type;
    switch (mode & 0170000) {
    case 0100000:
        return Type::Regular;
    case 0040000:
        return Type::Directory;
    case 0120000:
        return Type::SymbolicLink;
    case 0140000:
        return Type::Socket;
    case 0020000:
        return Type::CharacterDevice;
    case 0060000:
        return Type::BlockDevice;
    case 0010000:
        return Type::Fifo;
    default:
        return Type::Unknown;
    }
}

void skipExtensions(WireReader& reader)
{
    const std::uint32_t count = reader.uint32();
    for (std::uint32_t i = 0; i < count && reader.ok(); ++i) {
        reader.string();
        reader.string();
    }
}

void readVersion3(SFtpFileAttr& attr, WireReader& reader, std::uint32_t flags)
{
    if (flags & kSize)
        attr.size = reader.uint64();
    if (flags & kUidGid) {
        attr.owner = std::to_string(reader.uint32());
        attr.group = std::to_string(reader.uint32());
    }
    if (flags & kPermissions) {
        attr.permissions = reader.uint32();
        attr.type = typeFromMode(*attr.permissions);
    }
    if (flags & kAccessTime) {
        attr.accessTime = reader.uint32();
        attr.modifyTime = reader.uint32();
    }
}

std::int64_t readTime(WireReader& reader, std::uint32_t flags)
{
    const auto seconds = static_cast<std::int64_t>(reader.uint64());
    if (flags & kSubseconds)
        reader.uint32();
    return seconds;
}

void readVersion4(SFtpFileAttr& attr, WireReader& reader, std::uint32_t flags, int version)
{
    const std::uint8_t type = reader.byte();
    if (type >= 1 && type <= 9)
        attr.type = static_cast<SFtpFileAttr::Type>(type);
    if (flags & kSize)
        attr.size = reader.uint64();
    if (version >= 6 && flags & kAllocationSize)
        reader.uint64();
    if (flags & kOwnerGroup) {
        attr.owner = reader.text();
        attr.group = reader.text();
    }
    if (flags & kPermissions)
        attr.permissions = reader.uint32();
    if (flags & kAccessTime)
        attr.accessTime = readTime(reader, flags);
    if (flags & kCreateTime)
        attr.createTime = readTime(reader, flags);
    if (flags & kModifyTime)
        attr.modifyTime = readTime(reader, flags);
    if (version >= 6 && flags & kChangeTime)
        readTime(reader, flags);
    if (flags & kAcl)
        reader.string();
    if (version >= 5 && flags & kBits)
        reader.bytes(version >= 6 ? 8 : 4);
    if (version < 6)
        return;
    if (flags & kTextHint)
        reader.byte();
    if (flags & kMimeType)
        reader.string();
    if (flags & kLinkCount)
        reader.uint32();
    if (flags & kUntranslatedName)
        reader.string();
}

} // namespace

std::optional<SFtpFileAttr> SFtpFileAttr::read(WireReader& reader, int version)
{
    SFtpFileAttr attr;
    const std::uint32_t flags = reader.uint32();
    if (version <= 3)
        readVersion3(attr, reader, flags);
    else
        readVersion4(attr, reader, flags, version);
    if (flags & kExtended)
        skipExtensions(reader);
    return reader.ok() ? std::optional(attr) : std::nullopt;
}

void SFtpFileAttr::write(WireWriter& writer, int version) const
{
    std::uint32_t flags = (size ? kSize : 0) | (permissions ? kPermissions : 0);
    if (version <= 3) {
        writer.uint32(flags);
    } else {
        flags |= (accessTime ? kAccessTime : 0) | (createTime ? kCreateTime : 0)
            | (modifyTime ? kModifyTime : 0) | (owner && group ? kOwnerGroup : 0);
        writer.uint32(flags).byte(static_cast<std::uint8_t>(type));
    }
    if (size)
        writer.uint64(*size);
    if (flags & kOwnerGroup)
        writer.string(*owner).string(*group);
    if (permissions)
        writer.uint32(*permissions);
    if (version <= 3)
        return;
    for (const auto& time : {accessTime, createTime, modifyTime})
        if (time)
            writer.uint64(static_cast<std::uint64_t>(*time));
}

} // namespace ssh
