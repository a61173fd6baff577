#include "platform/SystemError.h"

#include <cerrno>
#include <system_error>

namespace platform {

Error systemError(std::string_view subject)
{
    const int number = errno;
    std::string text(subject);
    if (!text.empty())
        text += ": ";
    return Error{text + std::generic_category().message(number)};
}

} // namespace platform
