#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace ssh {

// One file of many to be written: the bytes, or a local file.
struct CkoUpload {
    std::string remotePath;
    std::optional<std::string> localPath;
    std::span<const std::uint8_t> data; // Borrowed; used without a local path.
    std::optional<int> permissions; // To be set afterwards; that it fails is no failure.
    // A file that exists is removed first. So a program that others still have open for writing can be
    // executed: what they have open is another file.
    bool isMadeAnew = false;
};

// One file of many to be read.
struct CkoDownload {
    std::string remotePath;
    std::string localPath;
    bool resuming = false; // Goes on at the local file's size.
    std::int64_t expectedSize = -1; // Bytes; negative when it is unknown.
};

struct CkoTransfer {
    bool opened = false; // The remote file.
    std::string error; // Empty on success.
    bool ok() const { return error.empty(); }
};

} // namespace ssh
