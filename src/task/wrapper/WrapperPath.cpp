#include "task/wrapper/WrapperPath.h"

#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"

namespace {

namespace files = platform::files;
using platform::paths::appending;

bool isWrapper(const std::string& path)
{
    return files::isDirectory(path)
        && (path.ends_with(".vtask")
            || (files::exists(appending(path, "Info.plist"))
                && files::exists(appending(path, "Executable.plist"))));
}

} // namespace

std::string wrapperContaining(const std::string& path)
{
    for (std::string folder = path; folder.size() > 1;
         folder = platform::paths::deletingLastComponent(folder))
        if (isWrapper(folder))
            return folder;
    return path;
}
