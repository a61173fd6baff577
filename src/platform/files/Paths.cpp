#include "platform/files/Paths.h"

#include <memory>
#include <unistd.h>
#include <vector>

namespace platform::paths {

namespace {

std::string currentDirectory()
{
    std::unique_ptr<char, decltype(&free)> directory(getcwd(nullptr, 0), &free);
    return directory ? directory.get() : "/";
}

std::vector<std::string_view> components(std::string_view path)
{
    std::vector<std::string_view> parts;
    while (!path.empty()) {
        const std::size_t slash = path.find('/');
        parts.push_back(path.substr(0, slash));
        path = slash == std::string_view::npos ? std::string_view() : path.substr(slash + 1);
    }
    return parts;
}

} // namespace

std::string_view withoutTrailingSlashes(std::string_view path)
{
    while (path.size() > 1 && path.back() == '/')
        path.remove_suffix(1);
    return path;
}

std::string lastComponent(std::string_view path)
{
    path = withoutTrailingSlashes(path);
    if (path == "/")
        return "/";
    return std::string(path.substr(path.rfind('/') + 1));
}

std::string deletingLastComponent(std::string_view path)
{
    path = withoutTrailingSlashes(path);
    const std::size_t slash = path.rfind('/');
    if (slash == std::string_view::npos)
        return {};
    return std::string(withoutTrailingSlashes(path.substr(0, slash + 1)));
}

std::string appending(std::string_view path, std::string_view component)
{
    while (component.starts_with('/'))
        component.remove_prefix(1);
    component = withoutTrailingSlashes(component);
    std::string result(withoutTrailingSlashes(path));
    if (!result.empty() && !component.empty() && result.back() != '/')
        result += '/';
    return result.append(component);
}

std::string extension(std::string_view path)
{
    const std::string name = lastComponent(path);
    const std::size_t dot = name.rfind('.');
    return dot == std::string::npos || dot == 0 ? std::string() : name.substr(dot + 1);
}

std::string lowercaseExtension(std::string_view path)
{
    std::string result = extension(path);
    for (char& letter : result)
        if (letter >= 'A' && letter <= 'Z')
            letter = static_cast<char>(letter - 'A' + 'a');
    return result;
}

std::string standardizing(std::string_view path)
{
    if (path.empty())
        return {};
    const bool fromRoot = path.front() == '/';
    std::vector<std::string_view> kept;
    for (const std::string_view part : components(path)) {
        if (part.empty() || part == ".")
            continue;
        const bool goesUp = part == "..";
        if (goesUp && !kept.empty() && kept.back() != "..")
            kept.pop_back();
        else if (!goesUp || !fromRoot) // Nothing lies above the root, so there ".." is dropped.
            kept.push_back(part);
    }
    std::string result = fromRoot ? "/" : "";
    for (const std::string_view part : kept) {
        if (!result.empty() && result.back() != '/')
            result += '/';
        result.append(part);
    }
    return result.empty() ? "." : result;
}

std::string absolute(std::string_view path)
{
    if (path.starts_with('/'))
        return standardizing(path);
    return standardizing(currentDirectory() + "/" + std::string(path));
}

} // namespace platform::paths
