#pragma once

#include <string_view>

namespace ssh {

// Whether a host's name matches a pattern of the known hosts file or of an SSH client's configuration: "*"
// stands for any characters, "?" for one. Letters match in their own case alone.
bool matchesHostPattern(std::string_view name, std::string_view pattern);

} // namespace ssh
