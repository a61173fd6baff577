#pragma once

#include <string>
#include <string_view>

// Paths as people write them, with "~" for their home folder. Any thread.
namespace platform::paths {

std::string abbreviatingWithTilde(std::string_view path); // "~" for the user's own home folder.
std::string expandingTilde(std::string_view path); // "~" and "~/..."; "~name" stays as it is.

} // namespace platform::paths
