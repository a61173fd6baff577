#pragma once

#include "platform/files/File.h"
#include "ssh/sftp/SFtpFileAttr.h"

#include <optional>
#include <string>

namespace ssh {

// The local file that a download writes. It is emptied, or made, when the first bytes arrive: a remote file
// that can't be read costs nothing. A new one gets the permissions of the remote file, less the process's
// mask; its owner may always read and write it, so that the download can be resumed.
class DownloadTarget {
public:
    enum class Mode { Replace, Resume };
    static Result<DownloadTarget> create(const std::string& path, Mode mode);

    std::uint64_t resumedAt() const { return resumedAt_; } // Bytes that the local file has already.
    Status write(ByteView bytes, const SFtpFileAttr& remote);
    Status finish(const SFtpFileAttr& remote); // After the last byte. The remote file may have been empty.
    Status close(); // After a failure: what has come stays.

private:
    explicit DownloadTarget(std::string path) : path_(std::move(path)) { }
    Status open(const SFtpFileAttr& remote);

    std::string path_;
    std::optional<platform::File> file_;
    std::uint64_t resumedAt_ = 0;
    bool written_ = false;
};

// A failure of a local file as a sentence, which tells it from the remote one.
Error localFailure(const Error& error);

} // namespace ssh
