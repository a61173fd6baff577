#include "text/files/GrowingFile.h"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

namespace {
constexpr std::size_t kBytesRemembered = 256;
} // namespace

GrowingFile::Read GrowingFile::readNew(const std::function<bool(std::string_view)>& take, int mostBlocks)
{
    reopenIfReplaced();
    const auto block = std::make_unique_for_overwrite<char[]>(kBlockSize);
    for (int blocks = 0; blocks < mostBlocks; ++blocks) {
        const std::string_view bytes = readAt(position_, block.get(), kBlockSize);
        if (bytes.empty())
            return Read::Everything;
        position_ += static_cast<off_t>(bytes.size());
        last_ = bytes.substr(bytes.size() - std::min(bytes.size(), kBytesRemembered));
        if (!take(bytes))
            return Read::Refused;
    }
    return Read::Some;
}

void GrowingFile::reopenIfReplaced()
{
    struct stat now { };
    if (::stat(path_.c_str(), &now) != 0 || !S_ISREG(now.st_mode))
        return;
    if (file_ && isSame(now))
        return;
    file_.reset(::open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file_ || ::fstat(file_.get(), &now) != 0 || isSame(now))
        return;
    if (position_ > 0)
        ++timesStartedAnew_;
    device_ = now.st_dev;
    inode_ = now.st_ino;
    position_ = 0;
    last_.clear();
}

bool GrowingFile::isSame(const struct stat& now) const
{
    return now.st_dev == device_ && now.st_ino == inode_ && now.st_size >= position_ && holdsLast();
}

// A file that was cut, and has grown beyond the position since, shows by other bytes before it.
bool GrowingFile::holdsLast() const
{
    std::array<char, kBytesRemembered> bytes{};
    return readAt(position_ - static_cast<off_t>(last_.size()), bytes.data(), last_.size()) == last_;
}

std::string_view GrowingFile::readAt(off_t place, char* buffer, std::size_t size) const
{
    const ssize_t count = platform::retryInterrupted(
        [&] { return file_ ? ::pread(file_.get(), buffer, size, place) : ssize_t{0}; });
    return {buffer, static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
}
