#include "platform/files/File.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace platform {

Error File::failure(const char* what, int reason) const
{
    return Error{path_ + " can't be " + what + ": " + std::generic_category().message(reason)};
}

Result<File> File::open(const std::string& path, Mode mode, std::uint32_t permissions)
{
    const int flags = mode == Mode::Read ? O_RDONLY
        : mode == Mode::ReadRegular      ? O_RDONLY | O_NONBLOCK
        : mode == Mode::Replace          ? O_WRONLY | O_CREAT | O_TRUNC
                                         : O_RDWR | O_CREAT | O_APPEND;
    File file(path, retryInterrupted([&] { return ::open(path.c_str(), flags | O_CLOEXEC, permissions); }));
    struct stat info { };
    if (!file.descriptor_ || ::fstat(file.descriptor_.get(), &info) != 0)
        return file.failure("opened", errno);
    if (S_ISDIR(info.st_mode))
        return file.failure("opened", EISDIR);
    if (mode == Mode::ReadRegular && !S_ISREG(info.st_mode))
        return Error{path + " is no regular file"};
    return file;
}

Result<std::uint64_t> File::size() const
{
    struct stat info { };
    if (::fstat(descriptor_.get(), &info) != 0)
        return failure("examined", errno);
    return static_cast<std::uint64_t>(std::max<off_t>(info.st_size, 0));
}

Status File::seek(std::uint64_t offset)
{
    if (offset > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max()))
        return failure("read", EOVERFLOW);
    if (::lseek(descriptor_.get(), static_cast<off_t>(offset), SEEK_SET) < 0)
        return failure("read", errno);
    return {};
}

Result<std::size_t> File::read(std::span<std::uint8_t> into)
{
    const ssize_t count =
        retryInterrupted([&] { return ::read(descriptor_.get(), into.data(), into.size()); });
    if (count < 0)
        return failure("read", errno);
    return static_cast<std::size_t>(count);
}

Result<std::string> File::readAll(std::uint64_t mostBytes)
{
    std::string text;
    for (std::uint8_t piece[16384];;) {
        const auto count = read(piece);
        if (!count.ok())
            return count.error();
        if (*count == 0)
            return text;
        text.append(reinterpret_cast<const char*>(piece), *count);
        if (text.size() > mostBytes)
            return failure("read", EFBIG);
    }
}

Status File::write(std::string_view bytes)
{
    return writeAll(descriptor_.get(), bytes) ? Status() : failure("written", errno);
}

Status File::truncate(std::uint64_t size)
{
    return retryInterrupted([&] { return ::ftruncate(descriptor_.get(), static_cast<off_t>(size)); }) == 0
        ? Status()
        : failure("shortened", errno);
}

Status File::lock(std::chrono::milliseconds limit)
{
    constexpr auto kPause = std::chrono::milliseconds(5);
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
        const LockAnswer answer = tryLock(descriptor_.get(), LockKind::Exclusive);
        if (answer == LockAnswer::Held)
            return {};
        if (answer == LockAnswer::Impossible)
            return failure("locked", errno);
        // The system has no waiting for a lock that ends by itself.
        if (std::chrono::steady_clock::now() >= deadline)
            return Error{path_ + " is kept locked by another program"};
        std::this_thread::sleep_for(kPause);
    }
}

Status File::close()
{
    return descriptor_.close() ? Status() : failure("written", errno);
}

} // namespace platform
