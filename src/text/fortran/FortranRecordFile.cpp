#include "text/fortran/FortranRecordFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdlib>

namespace {
constexpr std::uint64_t kMark = 4; // Bytes.
}

platform::Result<FortranRecordFile> FortranRecordFile::open(const std::string& path)
{
    auto file = platform::File::open(path, platform::File::Mode::ReadRegular);
    if (!file)
        return file.error();
    return FortranRecordFile(std::move(*file), path);
}

platform::Result<std::optional<std::string>> FortranRecordFile::next()
{
    const auto record = find();
    if (!record)
        return record.error();
    if (!*record)
        return std::optional<std::string>();
    std::string bytes((*record)->length, '\0'); // All of it is in the file: find() has seen the marks.
    std::uint64_t filled = 0;
    for (const Part& part : (*record)->parts) {
        if (const auto read = readAt(part.begin, bytes.data() + filled, part.length); !read)
            return read.error();
        filled += part.length;
    }
    position_ = (*record)->end;
    return std::optional(std::move(bytes));
}

platform::Result<std::optional<std::uint64_t>> FortranRecordFile::skip()
{
    const auto record = find();
    if (!record)
        return record.error();
    if (!*record)
        return std::optional<std::uint64_t>();
    position_ = (*record)->end;
    return std::optional((*record)->length);
}

platform::Result<std::optional<FortranRecordFile::Record>> FortranRecordFile::find()
{
    const auto size = file_.size();
    if (!size)
        return size.error();
    if (!knowsByteOrder_) {
        const auto settled = settleByteOrder(*size);
        if (!settled)
            return settled.error();
        if (!*settled)
            return std::optional<Record>();
    }
    Record record;
    std::uint64_t at = position_;
    for (bool hasMore = true; hasMore;) {
        if (at > *size || *size - at < 2 * kMark)
            return std::optional<Record>();
        const auto first = mark(at, isBigEndian_);
        if (!first)
            return first.error();
        const auto length = static_cast<std::uint64_t>(std::abs(*first));
        if (*size - at - 2 * kMark < length)
            return std::optional<Record>();
        const auto last = mark(at + kMark + length, isBigEndian_);
        if (!last)
            return last.error();
        if (std::abs(*last) != std::abs(*first))
            return damage("the length before a record isn't the one behind it");
        if ((*last < 0) != !record.parts.empty())
            return damage("a part of a record doesn't fit to the one before it");
        record.parts.push_back({at + kMark, length});
        record.length += length;
        at += length + 2 * kMark;
        hasMore = *first < 0;
    }
    record.end = at;
    return std::optional(std::move(record));
}

// False while the first record isn't there as a whole in either order.
platform::Result<bool> FortranRecordFile::settleByteOrder(std::uint64_t size)
{
    bool mayCome = size < 2 * kMark;
    for (const bool bigEndian : {false, true}) {
        if (size < 2 * kMark)
            break;
        const auto first = mark(0, bigEndian);
        if (!first)
            return first.error();
        const auto length = static_cast<std::uint64_t>(std::abs(*first));
        if (size - 2 * kMark < length) {
            mayCome = true;
            continue;
        }
        const auto last = mark(kMark + length, bigEndian);
        if (!last)
            return last.error();
        if (std::abs(*last) != std::abs(*first))
            continue;
        isBigEndian_ = bigEndian;
        knowsByteOrder_ = true;
        return true;
    }
    if (!mayCome)
        return damage("no byte order gives a first record with two equal lengths");
    return false;
}

platform::Result<std::int64_t> FortranRecordFile::mark(std::uint64_t at, bool bigEndian)
{
    std::array<char, kMark> bytes{};
    if (const auto read = readAt(at, bytes.data(), bytes.size()); !read)
        return read.error();
    if (!bigEndian)
        std::reverse(bytes.begin(), bytes.end());
    std::uint32_t number = 0;
    for (const char byte : bytes)
        number = number << 8 | static_cast<unsigned char>(byte);
    return static_cast<std::int64_t>(static_cast<std::int32_t>(number));
}

platform::Status FortranRecordFile::readAt(std::uint64_t at, char* into, std::uint64_t count)
{
    if (auto sought = file_.seek(at); !sought)
        return sought;
    for (std::uint64_t done = 0; done < count;) {
        const auto read = file_.read({reinterpret_cast<std::uint8_t*>(into) + done, count - done});
        if (!read)
            return read.error();
        if (*read == 0)
            return platform::Error{fmt::format("{} was cut while it was read", path_)};
        done += *read;
    }
    return {};
}

platform::Error FortranRecordFile::damage(const char* what) const
{
    return {fmt::format(
        "{} is no unformatted sequential file, or is damaged: {} (at byte {}). The records before are "
        "readable.",
        path_, what, position_)};
}
