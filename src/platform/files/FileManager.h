#pragma once

#include "platform/Result.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

struct FileAttributes {
    std::uint64_t size = 0; // Bytes.
    double modified = 0; // Seconds since 1970.
    std::uint32_t permissions = 0; // The twelve lower mode bits.
    bool isDirectory = false;
};

// File operations on paths. The reason of a failure names the path. Nothing throws, and no interruption by a
// signal is seen. Any thread.
namespace files {

// Permissions that keep other users out: of a file, and of a folder or a script.
constexpr std::uint32_t kOwnersFile = 0600;
constexpr std::uint32_t kOwnersFolder = 0700;
// All bits of a mode but those for the kind of file.
constexpr std::uint32_t kPermissionBits = 07777;

bool exists(const std::string& path); // Follows links; a dangling link does not exist.
bool isDirectory(const std::string& path);
std::optional<FileAttributes> attributes(const std::string& path);
std::optional<std::uint64_t> size(const std::string& path);
// Names without "." and "..", in the order of the listing.
Result<std::vector<std::string>> contentsOfDirectory(const std::string& path);

// Regular files only. A larger file than that is a failure.
Result<std::string> readFile(const std::string& path, std::uint64_t mostBytes = UINT64_MAX);
Result<std::string> readUtf8(const std::string& path); // A text that isn't valid UTF-8 is a failure.
Status writeFile(const std::string& path, std::string_view bytes);
// Writes a new file beside the old one, flushes it and moves it into place. On failure the old file is as it
// was, and nothing is left beside it. An existing file keeps its permissions; a new one gets `permissions`
// less the process's mask. A link stays, and its target is replaced. Without the flush a loss of power may
// leave the old file or an empty one: use that only for files that are made anew each time.
enum class Flush { No, Yes };
Status writeFileAtomically(const std::string& path, std::string_view bytes, std::uint32_t permissions = 0666,
    Flush flush = Flush::Yes);
Status appendToFile(const std::string& path, std::string_view bytes);
Status flush(const std::string& path); // Returns when the file, or a folder's list of names, is on disk.

Status createDirectory(const std::string& path, std::uint32_t permissions = 0777); // One level.
Status createDirectories(const std::string& path, std::uint32_t permissions = 0777);
// A file, a link or a whole folder. Links are removed, never followed.
Status remove(const std::string& path);
// Copies a file or a whole folder, with modes and dates. Fails when the target exists, and removes an
// incomplete copy. A link that `from` names is followed; links inside of a folder are copied as links.
Status copy(const std::string& from, const std::string& to);
Status move(const std::string& from, const std::string& to); // Fails when the target exists.
Status setPermissions(const std::string& path, std::uint32_t permissions);

bool isValidUtf8(std::string_view);

} // namespace files
} // namespace platform
