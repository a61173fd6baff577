#include "storage/bytes/DataFileStream.h"

#include "datafile/SVReadAhead.h"
#include "datafile/SVRegularFile.h"
#include "platform/SystemError.h"
#include "platform/files/Descriptor.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>
#include <vector>

std::unique_ptr<DataFileStream> DataFileStream::open(const std::string& path, Access access)
{
    const char* const mode = access == Access::Read ? "rb" : access == Access::ReadWrite ? "r+b" : "w+b";
    std::FILE* const file = SVOpenRegularFile(path, mode);
    if (!file)
        return nullptr;
    return std::unique_ptr<DataFileStream>(new DataFileStream(file, access != Access::Read));
}

DataFileStream::Identity DataFileStream::identity() const
{
    struct stat status;
    if (::fstat(descriptor(), &status) != 0)
        return {};
    return {status.st_dev, status.st_ino};
}

bool DataFileStream::isNamed(const std::string& path, const Identity& identity)
{
    struct stat status;
    return ::stat(path.c_str(), &status) == 0 && Identity{status.st_dev, status.st_ino} == identity;
}

std::uint64_t DataFileStream::length() const
{
    struct stat status;
    return ::fstat(descriptor(), &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

bool DataFileStream::readAt(std::uint64_t offset, void* into, std::size_t count)
{
    if (offset > static_cast<std::uint64_t>(LLONG_MAX))
        return false;
    errno = 0;
    const bool whole = SVReadAt(descriptor(), static_cast<long long>(offset), into, count) == count;
    failed_ = failed_ || (!whole && errno != 0);
    return whole;
}

platform::Status DataFileStream::writeAll(std::uint64_t place, std::span<const std::string_view> parts)
{
    std::vector<iovec> pieces;
    for (const std::string_view part : parts)
        if (!part.empty())
            pieces.push_back({const_cast<char*>(part.data()), part.size()});
    for (std::size_t first = 0; first < pieces.size();) {
        const auto count = std::min<std::size_t>(pieces.size() - first, IOV_MAX);
        const ssize_t written = platform::retryInterrupted([&] {
            return ::pwritev(
                descriptor(), &pieces[first], static_cast<int>(count), static_cast<off_t>(place));
        });
        if (written <= 0)
            return platform::systemError();
        place += static_cast<std::uint64_t>(written);
        for (auto left = static_cast<std::size_t>(written); left > 0;) {
            iovec& piece = pieces[first];
            const std::size_t taken = std::min(left, piece.iov_len);
            piece.iov_base = static_cast<char*>(piece.iov_base) + taken;
            piece.iov_len -= taken;
            left -= taken;
            first += piece.iov_len == 0 ? 1U : 0U;
        }
    }
    return {};
}

platform::Status DataFileStream::append(std::uint64_t end, std::span<const std::string_view> parts)
{
    const auto written = writeAll(end, parts);
    if (written)
        return {};
    failed_ = failed_ || errno == EIO;
    if (::ftruncate(descriptor(), static_cast<off_t>(end)) != 0)
        return platform::Error{written.error().text + ", and the incomplete entry at byte "
            + std::to_string(end) + " can't be cut off: " + platform::systemError().text};
    return written;
}
