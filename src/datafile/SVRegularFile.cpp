#include "datafile/SVRegularFile.h"

#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

int flagsOf(std::string_view mode)
{
    return mode == "rb" ? O_RDONLY : mode == "r+b" ? O_RDWR : O_RDWR | O_CREAT | O_TRUNC;
}

// False for a folder, a device or a pipe. A file that doesn't exist can be made.
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

std::FILE* SVOpenRegularFile(const std::string& name, const char* mode)
{
    const int flags = flagsOf(mode);
    if ((flags & O_CREAT) != 0)
        removeOldFile(name);
    // Tested before opening, which would wake a process that waits at the other end of a pipe,
    if (!canBeRegular(name))
        return nullptr;
    const int descriptor = ::open(name.c_str(), flags | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0666);
    if (descriptor < 0)
        return nullptr;
    // and tested again for the opened file: the name may have changed its meaning.
    struct stat status;
    std::FILE* const file =
        ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) ? ::fdopen(descriptor, mode) : nullptr;
    if (!file)
        ::close(descriptor);
    return file;
}

bool SVReplaceFile(const std::string& name, const std::string& bytes)
{
    if (!canBeRegular(name))
        return false;
    const std::string newName = name + "." + std::to_string(::getpid()) + ".new";
    std::FILE* const file = SVOpenRegularFile(newName, "w+b");
    if (!file)
        return false;
    bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    written = std::fflush(file) == 0 && written;
    written = ::fsync(::fileno(file)) == 0 && written;
    written = std::fclose(file) == 0 && written;
    if (written && std::rename(newName.c_str(), name.c_str()) == 0)
        return true;
    std::remove(newName.c_str());
    return false;
}
