#pragma once

#include "platform/files/File.h"
#include "ssh/sftp/SFtpFileAttr.h"

#include <optional>
#include <string>

namespace ssh {

// The local file of a download. It is created or emptied when the first bytes arrive, so that a remote file
// that can't be read leaves it alone. A new file gets the permissions of the remote one, less the process's
// mask; its owner can always read and write it, because a download may be resumed.
class DownloadTarget {
public:
    enum class Mode { Replace, Resume };
    static Result<DownloadTarget> create(const std::string& path, Mode mode);

    std::uint64_t resumedAt() const { return resumedAt_; } // Bytes that the local file had at first.
    Status write(ByteView bytes, const SFtpFileAttr& remote);
    Status finish(const SFtpFileAttr& remote); // After the last byte, also when there was none.
    Status close(); // After a failure. The bytes written so far stay.

private:
    explicit DownloadTarget(std::string path) : path_(std::move(path)) { }
    Status open(const SFtpFileAttr& remote);

    std::string path_;
    std::optional<platform::File> file_;
    std::uint64_t resumedAt_ = 0;
    bool written_ = false;
};

// Makes a sentence of a failure of platform::File.
Error localFailure(const Error& error);

} // namespace ssh
