#include "temporary/RemoveEverything.h"

#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"

#include <filesystem>
#include <tuple>

namespace temporary {

namespace files = platform::files;
namespace fs = std::filesystem;

namespace {

fs::file_status statusOf(const std::string& path)
{
    std::error_code ignored;
    return fs::symlink_status(path, ignored);
}

} // namespace

bool removeEverything(const std::string& path)
{
    if (statusOf(path).type() == fs::file_type::not_found || files::remove(path))
        return true;
    if (fs::is_directory(statusOf(path))) {
        std::ignore = files::setPermissions(path, files::kOwnersFolder);
        if (const auto names = files::contentsOfDirectory(path))
            for (const std::string& name : *names)
                removeEverything(platform::paths::appending(path, name));
    }
    return files::remove(path).ok();
}

std::uint64_t sizeOfDirectory(const std::string& path)
{
    std::uint64_t sum = 0;
    std::error_code failure;
    for (fs::directory_iterator entry(path, failure), end; !failure && entry != end;
         entry.increment(failure)) {
        std::error_code isGone;
        const fs::file_type type = entry->symlink_status(isGone).type();
        if (type == fs::file_type::directory)
            sum += sizeOfDirectory(entry->path());
        else if (type == fs::file_type::regular)
            if (const auto size = entry->file_size(isGone); !isGone)
                sum += size;
    }
    return sum;
}

} // namespace temporary
