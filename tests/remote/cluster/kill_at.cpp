// Preloaded into a program, ends it with SIGKILL before the call number TRELKIND_KILL_AT of those by which it
// changes something outside of itself: a request to a peer, a new local file, a rename, a removal. So a test
// can end it at every step without a word about that in the program. Further variables let it fail otherwise:
// - TRELKIND_FULL_AT: from this write on the disk is full.
// - TRELKIND_READ_ONLY: files below this folder can't be changed.
// - TRELKIND_CLOCK_AT, TRELKIND_CLOCK_BY: at this question for the time the clock is moved by so many
// seconds.
// - TRELKIND_FLUSH_FAILS: files of this name can't be brought to the disk.

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <fcntl.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

long number(const char* variable)
{
    const char* const text = std::getenv(variable);
    return text ? std::atol(text) : -1;
}

bool isReadOnly(const char* path)
{
    static const char* const folder = std::getenv("TRELKIND_READ_ONLY");
    if (!folder || std::strncmp(path, folder, std::strlen(folder)) != 0)
        return false;
    errno = EROFS;
    return true;
}

void count()
{
    static const long end = number("TRELKIND_KILL_AT");
    static std::atomic<long> calls = 0;
    if (++calls == end)
        ::kill(::getpid(), SIGKILL);
}

bool isFull(int descriptor)
{
    static const long end = number("TRELKIND_FULL_AT");
    static std::atomic<long> writes = 0;
    struct stat file { };
    return end >= 0 && ::fstat(descriptor, &file) == 0 && S_ISREG(file.st_mode) && file.st_nlink > 0
        && ++writes >= end;
}

bool canNotBeFlushed(int descriptor)
{
    static const char* const name = std::getenv("TRELKIND_FLUSH_FAILS");
    char path[PATH_MAX];
    if (!name)
        return false;
    const ssize_t length =
        ::readlink(("/proc/self/fd/" + std::to_string(descriptor)).c_str(), path, sizeof path);
    return length > 0
        && std::string(path, static_cast<std::size_t>(length)).ends_with(std::string("/") + name);
}

template <typename Function>
Function* next(const char* name)
{
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

int openNext(const char* name, const char* path, int flags, va_list arguments)
{
    const auto mode = (flags & O_CREAT) ? va_arg(arguments, mode_t) : mode_t(0);
    if ((flags & (O_CREAT | O_WRONLY | O_RDWR)) && isReadOnly(path))
        return -1;
    if (flags & O_CREAT)
        count();
    return next<int(const char*, int, mode_t)>(name)(path, flags, mode);
}

} // namespace

// NOLINTBEGIN: these are the C library's declarations.
extern "C" {

ssize_t send(int socket, const void* bytes, size_t size, int flags)
{
    count();
    static auto* const call = next<ssize_t(int, const void*, size_t, int)>("send");
    return call(socket, bytes, size, flags);
}

ssize_t write(int descriptor, const void* bytes, size_t size)
{
    if (isFull(descriptor)) {
        errno = ENOSPC;
        return -1;
    }
    static auto* const call = next<ssize_t(int, const void*, size_t)>("write");
    return call(descriptor, bytes, size);
}

int rename(const char* from, const char* to) noexcept
{
    if (isReadOnly(to))
        return -1;
    count();
    static auto* const call = next<int(const char*, const char*)>("rename");
    return call(from, to);
}

int unlink(const char* path) noexcept
{
    if (isReadOnly(path))
        return -1;
    count();
    static auto* const call = next<int(const char*)>("unlink");
    return call(path);
}

int fsync(int descriptor)
{
    if (canNotBeFlushed(descriptor)) {
        errno = EIO;
        return -1;
    }
    static auto* const call = next<int(int)>("fsync");
    return call(descriptor);
}

int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    static auto* const call = next<int(clockid_t, timespec*)>("clock_gettime");
    static const long at = number("TRELKIND_CLOCK_AT");
    static const long by = number("TRELKIND_CLOCK_BY");
    static std::atomic<long> questions = 0;
    const int result = call(clock, time);
    if (clock == CLOCK_REALTIME && at >= 0 && ++questions >= at)
        time->tv_sec += by;
    return result;
}

int open(const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const int opened = openNext("open", path, flags, arguments);
    va_end(arguments);
    return opened;
}

int open64(const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const int opened = openNext("open64", path, flags, arguments);
    va_end(arguments);
    return opened;
}
}
// NOLINTEND
