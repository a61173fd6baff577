#include "platform/files/FileManager.h"

#include "platform/ProcessInfo.h"
#include "platform/SystemError.h"
#include "platform/Utf8.h"
#include "platform/files/Descriptor.h"
#include "platform/files/Paths.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fmt/format.h>
#include <memory>
#include <new>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace platform::files {

namespace {

// Files are read in steps: memory grows with the bytes that are really there, not with the length that a file
// claims.
constexpr std::size_t kReadStep = std::size_t{1} << 20;

Result<std::string> readAll(
    int file, const std::string& path, std::uint64_t mostBytes, std::uint64_t expected)
{
    std::string bytes;
    std::size_t filled = 0;
    for (;;) {
        // One byte more than expected finds the end without another round.
        const std::uint64_t wanted = expected > filled ? expected - filled + 1 : kReadStep;
        bytes.resize(filled + static_cast<std::size_t>(std::min<std::uint64_t>(wanted, kReadStep)));
        const ssize_t count =
            retryInterrupted([&] { return ::read(file, bytes.data() + filled, bytes.size() - filled); });
        if (count < 0)
            return systemError(path);
        filled += static_cast<std::size_t>(count);
        if (filled > mostBytes)
            return Error{fmt::format("{} is larger than {} bytes", path, mostBytes)};
        if (count == 0)
            break;
    }
    bytes.resize(filled);
    return bytes;
}

// The failure of an operation that doesn't know the path.
Error about(const std::string& path, const Status& failure)
{
    return Error{fmt::format("{}: {}", path, failure.error().text)};
}

// A new file beside the target. It is removed again unless it was moved to the target.
class TemporaryFile {
public:
    TemporaryFile(const std::string& beside, mode_t permissions)
    {
        const std::string folder = paths::deletingLastComponent(beside);
        path_ = paths::appending(folder, ".trelkind-" + uniqueString());
        file_.reset(::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, permissions));
        isThere_ = static_cast<bool>(file_);
    }
    ~TemporaryFile()
    {
        if (isThere_)
            ::unlink(path_.c_str());
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    explicit operator bool() const { return isThere_; }
    int descriptor() const { return file_.get(); }
    Status moveTo(const std::string& target)
    {
        if (const Status closed = file_.close(); !closed)
            return about(target, closed);
        if (::rename(path_.c_str(), target.c_str()) != 0)
            return systemError(target);
        isThere_ = false;
        return {};
    }

private:
    std::string path_;
    Descriptor file_;
    bool isThere_ = false;
};

std::string behindLinks(const std::string& path)
{
    struct stat info { };
    if (::lstat(path.c_str(), &info) != 0 || !S_ISLNK(info.st_mode))
        return path;
    const std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(path.c_str(), nullptr), &std::free);
    return resolved ? resolved.get() : path;
}

bool flushToDisk(int file)
{
    // A file system that has nothing to flush says so with EINVAL.
    return retryInterrupted([&] { return ::fsync(file); }) == 0 || errno == EINVAL;
}

Status writeTo(const std::string& path, std::string_view bytes, int flags)
{
    // O_NONBLOCK: opening a pipe without a reader would block for ever.
    Descriptor file(retryInterrupted(
        [&] { return ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NONBLOCK | flags, 0666); }));
    if (!file)
        return systemError(path);
    if (const Status written = writeAll(file.get(), bytes); !written)
        return about(path, written);
    if (const Status closed = file.close(); !closed)
        return about(path, closed);
    return {};
}

} // namespace

bool exists(const std::string& path)
{
    struct stat info { };
    return ::stat(path.c_str(), &info) == 0;
}

bool isDirectory(const std::string& path)
{
    struct stat info { };
    return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

std::optional<FileAttributes> attributes(const std::string& path)
{
    struct stat info { };
    if (::stat(path.c_str(), &info) != 0)
        return std::nullopt;
    FileAttributes result;
    result.size = static_cast<std::uint64_t>(std::max<off_t>(info.st_size, 0));
    result.modified =
        static_cast<double>(info.st_mtim.tv_sec) + static_cast<double>(info.st_mtim.tv_nsec) * 1e-9;
    result.permissions = info.st_mode & kPermissionBits;
    result.isDirectory = S_ISDIR(info.st_mode);
    return result;
}

std::optional<std::uint64_t> size(const std::string& path)
{
    const auto found = attributes(path);
    return found ? std::optional(found->size) : std::nullopt;
}

Result<std::string> readFile(const std::string& path, std::uint64_t mostBytes)
{
    const Descriptor file(
        retryInterrupted([&] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK); }));
    struct stat info { };
    if (!file || ::fstat(file.get(), &info) != 0)
        return systemError(path);
    if (!S_ISREG(info.st_mode))
        return Error{fmt::format("{} is {}", path, S_ISDIR(info.st_mode) ? "a folder" : "no regular file")};
    try {
        return readAll(
            file.get(), path, mostBytes, static_cast<std::uint64_t>(std::max<off_t>(info.st_size, 0)));
    } catch (const std::bad_alloc&) {
    } catch (const std::length_error&) { }
    return Error{fmt::format("{} is larger than this machine's memory", path)};
}

Result<std::string> readUtf8(const std::string& path)
{
    auto text = readFile(path);
    if (text && !isValidUtf8(*text))
        return Error{fmt::format("{} isn't UTF-8", path)};
    return text;
}

Status writeFile(const std::string& path, std::string_view bytes)
{
    return writeTo(path, bytes, O_TRUNC);
}

Status writeFileAtomically(
    const std::string& path, std::string_view bytes, std::uint32_t permissions, Flush flush)
{
    const std::string target = behindLinks(path);
    TemporaryFile temporary(target, permissions & kPermissionBits);
    if (!temporary)
        return systemError(path);
    if (const auto existing = attributes(target)) {
        if (existing->isDirectory)
            return Error{fmt::format("{} is a folder", path)};
        if (::fchmod(temporary.descriptor(), existing->permissions) != 0)
            return systemError(path);
    }
    if (const Status written = writeAll(temporary.descriptor(), bytes); !written)
        return about(path, written);
    if (flush == Flush::Yes && !flushToDisk(temporary.descriptor()))
        return systemError(path);
    return temporary.moveTo(target);
}

Status flush(const std::string& path)
{
    const Descriptor file(
        retryInterrupted([&] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK); }));
    return file && flushToDisk(file.get()) ? Status() : systemError(path);
}

Status appendToFile(const std::string& path, std::string_view bytes)
{
    return writeTo(path, bytes, O_APPEND);
}

Status createDirectory(const std::string& path, std::uint32_t permissions)
{
    if (::mkdir(path.c_str(), permissions & kPermissionBits) != 0)
        return systemError(path);
    return {};
}

Status createDirectories(const std::string& path, std::uint32_t permissions)
{
    if (path.empty())
        return Error{"there is no folder without a name"};
    // Collects the missing folders from the deepest upwards. Each step shortens the path.
    std::vector<std::string> missing;
    for (std::string folder = path; !folder.empty() && !isDirectory(folder);) {
        missing.push_back(folder);
        const std::string parent = paths::deletingLastComponent(folder);
        if (parent == folder)
            break;
        folder = parent;
    }
    for (auto folder = missing.rbegin(); folder != missing.rend(); ++folder)
        // Another process may create the folder at the same moment.
        if (const Status made = createDirectory(*folder, permissions); !made && !isDirectory(*folder))
            return made;
    return {};
}

Status setPermissions(const std::string& path, std::uint32_t permissions)
{
    if (::chmod(path.c_str(), permissions & kPermissionBits) != 0)
        return systemError(path);
    return {};
}

bool isValidUtf8(std::string_view text)
{
    return !utf8::firstInvalidByte(text);
}

} // namespace platform::files
