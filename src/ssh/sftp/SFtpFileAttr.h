#pragma once

#include "ssh/crypto/Wire.h"

#include <optional>

namespace ssh {

// The attributes of one remote file as the server gives them: version 3 (draft 02, section 5), 4 (draft 04),
// 5 (draft 05) and 6 (draft 13, section 7) of the file transfer protocol. Null is what it leaves out.
struct SFtpFileAttr {
    enum class Type : std::uint8_t {
        Regular = 1,
        Directory = 2,
        SymbolicLink = 3,
        Special = 4,
        Unknown = 5,
        Socket = 6,
        CharacterDevice = 7,
        BlockDevice = 8,
        Fifo = 9
    };
    Type type = Type::Unknown;
    std::optional<std::uint64_t> size; // Bytes.
    std::optional<std::string> owner; // A name, or a number in version 3.
    std::optional<std::string> group;
    std::optional<std::uint32_t> permissions; // Mode bits, possibly with those of the file type.
    std::optional<std::int64_t> accessTime; // Seconds since 1970, like the others.
    std::optional<std::int64_t> createTime;
    std::optional<std::int64_t> modifyTime;

    // Nothing when the bytes end too early; the reader then has failed.
    static std::optional<SFtpFileAttr> read(WireReader& reader, int version);
    void write(WireWriter& writer, int version) const;

    static constexpr std::uint32_t kWanted =
        0x1 | 0x4 | 0x8 | 0x10 | 0x20 | 0x80; // Requested from version 4 on.
};

} // namespace ssh
