// Listing of folders; removing, copying and moving of whole trees. Every step goes through the descriptor of
// the folder that it works in: replacing a folder by a link meanwhile can't lead it elsewhere.

#include "platform/SystemError.h"
#include "platform/files/Descriptor.h"
#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"

#include <cerrno>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>

namespace platform::files {

namespace {

// Copying holds two descriptors a level, and a process has about a thousand.
constexpr int kDeepestCopy = 200;
constexpr std::size_t kCopyStep = std::size_t{1} << 20;

struct Identity {
    dev_t device = 0;
    ino_t number = 0;
    bool operator==(const Identity&) const = default;
};

std::optional<Identity> identify(const Descriptor& file)
{
    struct stat info { };
    if (!file || ::fstat(file.get(), &info) != 0)
        return std::nullopt;
    return Identity{info.st_dev, info.st_ino};
}

Descriptor openFolder(int parent, const char* name, bool followLink = false)
{
    const int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | (followLink ? 0 : O_NOFOLLOW);
    return Descriptor(retryInterrupted([&] { return ::openat(parent, name, flags); }));
}

Result<std::vector<std::string>> namesIn(Descriptor folder, std::string_view name)
{
    const std::unique_ptr<DIR, int (*)(DIR*)> listing(
        folder ? ::fdopendir(folder.get()) : nullptr, &::closedir);
    if (!listing)
        return systemError(name);
    folder.release(); // Closed with the listing.
    std::vector<std::string> names;
    errno = 0;
    while (const dirent* entry = ::readdir(listing.get())) {
        const std::string_view found = entry->d_name;
        if (found != "." && found != "..")
            names.emplace_back(found);
    }
    if (errno != 0)
        return systemError(name);
    return names;
}

// A trailing slash would make the name of a link stand for the link's target.
std::string itself(const std::string& path)
{
    return std::string(paths::withoutTrailingSlashes(path));
}

// Removes all that a folder holds. However deep the tree is, one descriptor is open at a time.
class FolderEmptier {
public:
    Status run(Descriptor folder, std::string path)
    {
        Status status = enter(std::move(folder), std::move(path));
        while (status && !levels_.empty())
            status = levels_.back().names.empty() ? leave() : removeNext();
        return status;
    }

private:
    struct Level {
        Identity identity;
        std::string name; // In the folder above; the first one's path.
        std::vector<std::string> names; // Still to be removed.
    };

    Status enter(Descriptor folder, std::string name)
    {
        const auto identity = identify(folder);
        if (!identity)
            return systemError(name);
        auto names = namesIn(openFolder(folder.get(), "."), name);
        if (!names)
            return names.error();
        levels_.push_back({*identity, std::move(name), std::move(*names)});
        current_ = std::move(folder);
        return {};
    }

    Status removeNext()
    {
        std::string name = std::move(levels_.back().names.back());
        levels_.back().names.pop_back();
        if (::unlinkat(current_.get(), name.c_str(), 0) == 0 || errno == ENOENT)
            return {};
        if (errno != EISDIR && errno != EPERM)
            return systemError(name);
        const Error refusal = systemError(name);
        Descriptor folder = openFolder(current_.get(), name.c_str());
        if (!folder && errno == ENOTDIR)
            return refusal;
        return enter(std::move(folder), std::move(name));
    }

    Status leave()
    {
        const Level finished = std::move(levels_.back());
        levels_.pop_back();
        if (levels_.empty())
            return {};
        Descriptor above = openFolder(current_.get(), "..");
        // If the folder was moved meanwhile, ".." is another folder.
        if (identify(above) != levels_.back().identity)
            return Error{finished.name + " was moved while it was being removed"};
        current_ = std::move(above);
        if (::unlinkat(current_.get(), finished.name.c_str(), AT_REMOVEDIR) != 0 && errno != ENOENT)
            return systemError(finished.name);
        return {};
    }

    std::vector<Level> levels_;
    Descriptor current_;
};

Status copyPlainly(int from, int to)
{
    std::string buffer(kCopyStep, '\0');
    for (;;) {
        const ssize_t count = retryInterrupted([&] { return ::read(from, buffer.data(), buffer.size()); });
        if (count < 0)
            return systemError();
        if (count == 0)
            return {};
        if (const Status written = writeAll(to, {buffer.data(), static_cast<std::size_t>(count)}); !written)
            return written;
    }
}

Status copyBytes(int from, int to)
{
    // The kernel's own copy can share blocks. Where the kernel can't copy, or reports 0 bytes (as for files
    // whose content is produced on reading), the rest goes through memory.
    for (;;) {
        const ssize_t count = retryInterrupted(
            [&] { return ::copy_file_range(from, nullptr, to, nullptr, std::size_t{1} << 30, 0); });
        if (count > 0)
            continue;
        if (count < 0 && (errno == ENOSPC || errno == EDQUOT || errno == EFBIG || errno == EIO))
            return systemError();
        return copyPlainly(from, to);
    }
}

Status carryOver(int target, const struct stat& info, std::string_view name)
{
    const timespec times[2] = {info.st_atim, info.st_mtim};
    ::futimens(target, times); // A file system without dates is no reason to fail.
    if (::fchmod(target, info.st_mode & kPermissionBits) != 0)
        return systemError(name);
    return {};
}

// The first failure of the three, each tried only after the one before it.
Status fill(Descriptor& target, const Descriptor& source, const struct stat& info)
{
    Status status = copyBytes(source.get(), target.get());
    if (status)
        status = carryOver(target.get(), info, {});
    return status ? target.close() : status;
}

Status copyRegularFile(int fromFolder, const char* from, int toFolder, const char* to, bool followLink)
{
    const int flags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | (followLink ? 0 : O_NOFOLLOW);
    const Descriptor source(retryInterrupted([&] { return ::openat(fromFolder, from, flags); }));
    struct stat info { };
    if (!source || ::fstat(source.get(), &info) != 0)
        return systemError(from);
    if (!S_ISREG(info.st_mode))
        return Error{std::string(from) + " is no regular file"};
    Descriptor target(retryInterrupted(
        [&] { return ::openat(toFolder, to, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600); }));
    if (!target)
        return systemError(to);
    const Status filled = fill(target, source, info);
    if (filled)
        return {};
    ::unlinkat(toFolder, to, 0);
    return Error{std::string(from) + ": " + filled.error().text};
}

Status copyLink(int fromFolder, const char* from, int toFolder, const char* to)
{
    char destination[4096];
    const ssize_t length = ::readlinkat(fromFolder, from, destination, sizeof destination - 1);
    if (length < 0)
        return systemError(from);
    destination[length] = '\0';
    if (::symlinkat(destination, toFolder, to) != 0)
        return systemError(to);
    return {};
}

class TreeCopier {
public:
    // On failure what it has made so far stays: the caller removes it.
    Status copyFolder(
        int fromFolder, const char* from, int toFolder, const char* to, bool followLink, int depth = 0)
    {
        const Descriptor source = openFolder(fromFolder, from, followLink);
        struct stat info { };
        if (!source || ::fstat(source.get(), &info) != 0)
            return systemError(from);
        if (depth > kDeepestCopy)
            return Error{std::string(from) + " lies too deep to be copied"};
        // A folder that is copied into itself would never end.
        if (target_ && identify(source) == target_)
            return Error{"a folder can't be copied into itself"};
        const auto names = namesIn(openFolder(source.get(), "."), from);
        if (!names)
            return names.error();
        if (::mkdirat(toFolder, to, 0700) != 0)
            return systemError(to);
        hasMadeTarget_ = true;
        const Descriptor target = openFolder(toFolder, to);
        if (!target_)
            target_ = identify(target);
        if (!target)
            return systemError(to);
        for (const std::string& name : *names)
            if (const Status copied = copyEntry(source.get(), target.get(), name, depth); !copied)
                return copied;
        return carryOver(target.get(), info, to);
    }
    bool hasMadeTarget() const { return hasMadeTarget_; }

private:
    Status copyEntry(int fromFolder, int toFolder, const std::string& name, int depth)
    {
        struct stat info { };
        if (::fstatat(fromFolder, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0)
            return systemError(name);
        if (S_ISDIR(info.st_mode))
            return copyFolder(fromFolder, name.c_str(), toFolder, name.c_str(), false, depth + 1);
        if (S_ISLNK(info.st_mode))
            return copyLink(fromFolder, name.c_str(), toFolder, name.c_str());
        return copyRegularFile(fromFolder, name.c_str(), toFolder, name.c_str(), false);
    }

    std::optional<Identity> target_;
    bool hasMadeTarget_ = false;
};

Status copyTree(const std::string& from, const std::string& to, bool followLink)
{
    struct stat info { };
    if (::fstatat(AT_FDCWD, from.c_str(), &info, followLink ? 0 : AT_SYMLINK_NOFOLLOW) != 0)
        return systemError(from);
    if (S_ISLNK(info.st_mode))
        return copyLink(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str());
    if (!S_ISDIR(info.st_mode))
        return copyRegularFile(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), followLink);
    TreeCopier copier;
    const Status copied = copier.copyFolder(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), followLink);
    if (!copied && copier.hasMadeTarget())
        std::ignore = remove(to); // The first failure is the one that counts.
    return copied;
}

bool existsItself(const std::string& path)
{
    struct stat info { };
    return ::lstat(path.c_str(), &info) == 0;
}

} // namespace

Result<std::vector<std::string>> contentsOfDirectory(const std::string& path)
{
    return namesIn(openFolder(AT_FDCWD, path.c_str(), true), path);
}

Status remove(const std::string& path)
{
    const std::string own = itself(path);
    if (own == "/")
        return Error{"the root folder can't be removed"};
    if (::unlink(own.c_str()) == 0)
        return {};
    if (errno != EISDIR && errno != EPERM)
        return systemError(path);
    const Error refusal = systemError(path);
    Descriptor folder = openFolder(AT_FDCWD, own.c_str());
    if (!folder && errno == ENOTDIR)
        return refusal;
    if (const Status emptied = FolderEmptier().run(std::move(folder), path); !emptied)
        return emptied;
    if (::rmdir(own.c_str()) != 0)
        return systemError(path);
    return {};
}

Status copy(const std::string& from, const std::string& to)
{
    return copyTree(itself(from), itself(to), true);
}

Status move(const std::string& from, const std::string& to)
{
    const std::string source = itself(from);
    const std::string target = itself(to);
    if (::renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) == 0)
        return {};
    if (errno == EINVAL || errno == ENOSYS) {
        // This file system has no RENAME_NOREPLACE. A check before the rename leaves a small gap.
        if (existsItself(target))
            return Error{to + " is there already"};
        if (::rename(source.c_str(), target.c_str()) == 0)
            return {};
    }
    if (errno != EXDEV)
        return systemError(to);
    if (const Status copied = copyTree(source, target, false); !copied)
        return copied;
    return remove(source);
}

} // namespace platform::files
