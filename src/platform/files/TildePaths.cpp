#include "platform/files/TildePaths.h"

#include "platform/files/Places.h"

namespace platform::paths {

std::string abbreviatingWithTilde(std::string_view path)
{
    const std::string home = Places::home();
    if (home.size() <= 1 || !path.starts_with(home))
        return std::string(path);
    const std::string_view rest = path.substr(home.size());
    if (!rest.empty() && rest.front() != '/')
        return std::string(path);
    std::string result = "~";
    return result.append(rest);
}

std::string expandingTilde(std::string_view path)
{
    if (path == "~" || path.starts_with("~/"))
        return Places::home() + std::string(path.substr(1));
    return std::string(path);
}

} // namespace platform::paths
