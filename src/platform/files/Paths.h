#pragma once

#include <string>
#include <string_view>

namespace platform {

// Operations on the text of a path; none looks at the disk. Slashes at the end of a path are dropped. Any
// thread.
namespace paths {

std::string_view withoutTrailingSlashes(std::string_view path); // The root keeps its own.
std::string lastComponent(std::string_view path); // "a/b/" gives "b"; "/" gives "/".
std::string deletingLastComponent(std::string_view path); // "a/b" gives "a"; "a" gives ""; "/a" gives "/".
std::string appending(std::string_view path, std::string_view component); // Always one slash between them.
std::string extension(std::string_view path); // Of the last component, without the dot; ".x" has none.
std::string lowercaseExtension(std::string_view path);
std::string standardizing(std::string_view path); // Resolves "." and ".." and doubled slashes.
std::string absolute(std::string_view path); // Against the current directory; standardized.

} // namespace paths
} // namespace platform
