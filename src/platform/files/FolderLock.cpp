#include "platform/files/FolderLock.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {

FolderLock::FolderLock(const std::string& path, Kind kind, Links links)
{
    const int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | (links == Links::Refused ? O_NOFOLLOW : 0);
    folder_.reset(retryInterrupted([&] { return ::open(path.c_str(), flags); }));
    if (!folder_)
        return;
    state_ = tryLock(folder_.get(), kind);
}

bool FolderLock::isPrivate() const
{
    struct stat info { };
    return folder_ && ::fstat(folder_.get(), &info) == 0 && info.st_uid == ::geteuid()
        && (info.st_mode & (S_IRWXG | S_IRWXO)) == 0;
}

bool FolderLock::isAt(const std::string& path) const
{
    struct stat opened { };
    struct stat present { };
    return folder_ && ::fstat(folder_.get(), &opened) == 0 && ::lstat(path.c_str(), &present) == 0
        && opened.st_dev == present.st_dev && opened.st_ino == present.st_ino;
}

} // namespace platform
