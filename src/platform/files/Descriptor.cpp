#include "platform/files/Descriptor.h"

#include "platform/SystemError.h"

#include <cerrno>
#include <poll.h>
#include <sys/file.h>
#include <unistd.h>

namespace platform {

void Descriptor::reset(int number)
{
    if (number_ >= 0)
        ::close(number_);
    number_ = number;
}

Status Descriptor::close()
{
    if (number_ < 0)
        return {};
    // Linux gives the number back even when a signal interrupts the call, so it is never made twice.
    if (::close(release()) == 0 || interrupted())
        return {};
    return systemError();
}

bool interrupted()
{
    return errno == EINTR;
}

Status writeAll(int descriptor, std::string_view bytes, WhenFull whenFull)
{
    while (!bytes.empty()) {
        const ssize_t count =
            retryInterrupted([&] { return ::write(descriptor, bytes.data(), bytes.size()); });
        const bool isFull = count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
        if (isFull && whenFull == WhenFull::Wait) {
            pollfd polled{descriptor, POLLOUT, 0};
            if (retryInterrupted([&] { return ::poll(&polled, 1, -1); }) > 0)
                continue;
        }
        if (count < 0)
            return systemError();
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return {};
}

LockAnswer tryLock(int descriptor, LockKind kind)
{
    const int operation = (kind == LockKind::Shared ? LOCK_SH : LOCK_EX) | LOCK_NB;
    if (retryInterrupted([&] { return ::flock(descriptor, operation); }) == 0)
        return LockAnswer::Held;
    return errno == EWOULDBLOCK ? LockAnswer::Taken : LockAnswer::Impossible;
}

} // namespace platform
