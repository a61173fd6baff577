#include "platform/Descriptor.h"

#include <cerrno>
#include <unistd.h>

namespace platform {

void Descriptor::reset(int number)
{
    if (number_ >= 0)
        ::close(number_);
    number_ = number;
}

bool Descriptor::close()
{
    if (number_ < 0)
        return true;
    // Linux gives the number back even when a signal interrupts the call, so it is never made twice.
    const int result = ::close(release());
    return result == 0 || errno == EINTR;
}

bool interrupted()
{
    return errno == EINTR;
}

bool writeAll(int descriptor, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t count =
            retryInterrupted([&] { return ::write(descriptor, bytes.data(), bytes.size()); });
        if (count < 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

} // namespace platform
