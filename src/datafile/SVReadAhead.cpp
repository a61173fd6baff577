#include "datafile/SVReadAhead.h"

#include <algorithm>
#include <cerrno>
#include <unistd.h>

namespace {
constexpr std::size_t kSmallestBlock = 4096;
constexpr std::size_t kLargestBlock = 1 << 20;
constexpr long long kNearby = 16 << 10; // Reading so many bytes more costs less than two more system calls.
} // namespace

std::size_t SVReadAt(int descriptor, long long position, void* into, std::size_t count)
{
    std::size_t held = 0;
    while (held < count) {
        const ssize_t got = ::pread(descriptor, static_cast<char*>(into) + held, count - held,
            static_cast<off_t>(position + static_cast<long long>(held)));
        if (got == 0 || (got < 0 && errno != EINTR))
            break;
        held += got > 0 ? static_cast<std::size_t>(got) : 0;
    }
    return held;
}

SVReadAhead::SVReadAhead(const SVFile& file)
    : descriptor_(file.IsOpen() ? ::fileno(file.FILEForReading()) : -1), length_(file.Length())
{ }

const unsigned char* SVReadAhead::At(long long position, std::size_t count)
{
    if (position < 0 || position > length_ || static_cast<long long>(count) > length_ - position)
        return nullptr;
    const auto held = static_cast<long long>(block_.size());
    const bool inside =
        position >= blockStart_ && position - blockStart_ <= held - static_cast<long long>(count);
    if (!inside && !Fill(position, count))
        return nullptr;
    return block_.data() + (position - blockStart_);
}

bool SVReadAhead::Fill(long long position, std::size_t count)
{
    const long long end = blockStart_ + static_cast<long long>(block_.size());
    const bool follows = position - end <= kNearby;
    wanted_ = follows ? std::clamp(2 * wanted_, kSmallestBlock, kLargestBlock) : kSmallestBlock;
    const auto left = static_cast<std::size_t>(length_ - position);
    block_.resize(std::min(std::max(wanted_, count), left));
    blockStart_ = position;
    // The file may have been cut meanwhile.
    block_.resize(SVReadAt(descriptor_, position, block_.data(), block_.size()));
    return block_.size() >= count;
}

std::optional<std::vector<unsigned char>> SVBytesBehindMagic(const SVFile& file, const std::string& magic)
{
    if (!file.IsOpen())
        return {};
    std::string start(magic.size() + 1, '\0');
    const std::size_t count = std::fread(start.data(), 1, start.size(), file.FILEForReading());
    if (count != start.size() || start.compare(0, count, magic.c_str(), count) != 0)
        return {};
    std::vector<unsigned char> bytes;
    std::size_t held = 0;
    for (std::size_t wanted = kSmallestBlock;; wanted = std::min(2 * wanted, kLargestBlock)) {
        bytes.resize(held + wanted);
        const std::size_t got = std::fread(bytes.data() + held, 1, wanted, file.FILEForReading());
        held += got;
        if (got < wanted)
            break;
    }
    bytes.resize(held);
    return bytes;
}
