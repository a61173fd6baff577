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
    // Increments report failures by the code, and end the loop.
    for (fs::recursive_directory_iterator entry(path, fs::directory_options::skip_permission_denied, failure),
         end;
         !failure && entry != end; entry.increment(failure)) {
        std::error_code noFile;
        if (entry->is_regular_file(noFile) && !entry->is_symlink(noFile))
            if (const auto size = entry->file_size(noFile); !noFile)
                sum += size;
    }
    return sum;
}

} // namespace temporary
