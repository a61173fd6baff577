#pragma once

#include "platform/Result.h"

#include <string_view>

namespace platform {

// Why the last system call of this thread failed, in the system's words. The subject, usually a path, stands
// before them: "subject: No space left on device".
Error systemError(std::string_view subject = {});

} // namespace platform
