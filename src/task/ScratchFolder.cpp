#include "task/ScratchFolder.h"

#include "platform/FileManager.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace files = platform::files;

int openFolder(const std::string& path)
{
    return ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
}

// A folder that somebody else has put there is not one to share, whatever he does with it.
bool isOurs(int descriptor)
{
    struct stat info { };
    return ::fstat(descriptor, &info) == 0 && info.st_uid == ::geteuid()
        && (info.st_mode & files::kPermissionBits) == files::kOwnersFolder;
}

bool isInUse(const std::string& path)
{
    const int descriptor = openFolder(path);
    if (descriptor < 0)
        return false;
    const bool used =
        isOurs(descriptor) && ::flock(descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    ::close(descriptor);
    return used;
}

} // namespace

ScratchFolder::ScratchFolder(const std::string& path)
{
    if (!isInUse(path)) {
        files::remove(path);
        // Nothing is written into a folder that somebody else has put there.
        if (!files::createDirectory(path, files::kOwnersFolder))
            return;
        files::writeFile(path + "/Empty", "");
    }
    descriptor_ = openFolder(path);
    if (descriptor_ >= 0)
        ::flock(descriptor_, LOCK_SH | LOCK_NB);
}

ScratchFolder::~ScratchFolder()
{
    if (descriptor_ >= 0)
        ::close(descriptor_);
}
