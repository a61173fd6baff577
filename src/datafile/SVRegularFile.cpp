#include "datafile/SVRegularFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct Mode {
    int flags;
    const char* text;
};

Mode modeOf(SVFile::OpenType type)
{
    switch (type) {
    case SVFile::ExistingReadWrite:
        return {O_RDWR, "r+b"};
    case SVFile::NewReadWrite:
        return {O_RDWR | O_CREAT | O_TRUNC, "w+b"};
    case SVFile::ReadOnly:
        break;
    }
    return {O_RDONLY, "rb"};
}

// False only of a folder, a device, a pipe: what isn't there can be made.
bool canBeRegular(const std::string& name)
{
    struct stat status;
    return ::stat(name.c_str(), &status) != 0 || S_ISREG(status.st_mode);
}

void removeOldFile(const std::string& name)
{
    struct stat status;
    if (::lstat(name.c_str(), &status) == 0 && (S_ISREG(status.st_mode) || S_ISLNK(status.st_mode)))
        std::remove(name.c_str());
}

} // namespace

std::FILE* SVOpenRegularFile(const std::string& name, SVFile::OpenType type)
{
    if (type == SVFile::NewReadWrite)
        removeOldFile(name);
    // Asked before it is opened, which would wake whoever waits at the other end of a pipe,
    if (!canBeRegular(name))
        return nullptr;
    const Mode mode = modeOf(type);
    const int descriptor = ::open(name.c_str(), mode.flags | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0666);
    if (descriptor < 0)
        return nullptr;
    // and once more of what was really opened: the name may mean something else by now.
    struct stat status;
    std::FILE* const file = ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)
        ? ::fdopen(descriptor, mode.text)
        : nullptr;
    if (!file)
        ::close(descriptor);
    return file;
}
