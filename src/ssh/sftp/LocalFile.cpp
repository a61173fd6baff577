#include "ssh/sftp/LocalFile.h"

#include <cerrno>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace ssh {

Error LocalFile::failure(const char* what) const
{
    return Error{
        "The local file " + path_ + " can't be " + what + ": " + std::generic_category().message(errno)};
}

Result<LocalFile> LocalFile::open(const std::string& path, Mode mode)
{
    const int flags = mode == Mode::Read ? O_RDONLY
        : mode == Mode::Replace          ? O_WRONLY | O_CREAT | O_TRUNC
                                         : O_WRONLY | O_CREAT | O_APPEND;
    LocalFile file(path, ::open(path.c_str(), flags | O_CLOEXEC, 0666));
    struct stat status { };
    if (file.descriptor_ < 0 || fstat(file.descriptor_, &status) != 0)
        return file.failure("opened");
    if (S_ISDIR(status.st_mode)) {
        errno = EISDIR;
        return file.failure("opened");
    }
    return file;
}

LocalFile::~LocalFile()
{
    if (descriptor_ >= 0)
        ::close(descriptor_);
}

Result<std::uint64_t> LocalFile::size() const
{
    struct stat status { };
    if (fstat(descriptor_, &status) != 0)
        return failure("examined");
    return static_cast<std::uint64_t>(status.st_size);
}

Status LocalFile::seek(std::uint64_t offset)
{
    if (offset > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max())) {
        errno = EOVERFLOW;
        return failure("read");
    }
    if (lseek(descriptor_, static_cast<off_t>(offset), SEEK_SET) < 0)
        return failure("read");
    return {};
}

Result<std::size_t> LocalFile::read(std::span<std::uint8_t> into)
{
    for (;;) {
        const ssize_t got = ::read(descriptor_, into.data(), into.size());
        if (got >= 0)
            return static_cast<std::size_t>(got);
        if (errno != EINTR)
            return failure("read");
    }
}

Status LocalFile::write(ByteView bytes)
{
    while (!bytes.empty()) {
        const ssize_t put = ::write(descriptor_, bytes.data(), bytes.size());
        if (put < 0 && errno != EINTR)
            return failure("written");
        if (put > 0)
            bytes = bytes.subspan(static_cast<std::size_t>(put));
    }
    return {};
}

Status LocalFile::close()
{
    return ::close(std::exchange(descriptor_, -1)) == 0 ? Status() : Status(failure("written"));
}

} // namespace ssh
