#pragma once

#include "ssh/sftp/CkoDate.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ssh {

struct SFtpEntry;

// One entry of a directory listing. It may outlive the listing.
class CkoSFtpFile {
public:
    CkoSFtpFile(std::shared_ptr<const std::vector<SFtpEntry>> entries, std::size_t index);

    std::string Filename() const; // Without a directory.
    std::int64_t Size64() const; // Bytes; negative when unknown.
    int Permissions() const; // The lower twelve mode bits; 0 when unknown.
    bool IsDirectory() const;
    bool IsRegular() const;
    bool IsSymLink() const;
    std::string Owner() const; // A name, or a number with version 3 of the protocol; may be empty.
    std::string Group() const;
    std::optional<CkoDate> LastModifiedTime() const;
    std::optional<CkoDate> LastAccessTime() const;
    std::optional<CkoDate> CreateTime() const;

private:
    const SFtpEntry& entry() const;
    std::shared_ptr<const std::vector<SFtpEntry>> entries_;
    std::size_t index_;
};

// A whole directory listing, in the server's order.
class CkoSFtpDir {
public:
    explicit CkoSFtpDir(std::shared_ptr<const std::vector<SFtpEntry>> entries);

    int NumFilesAndDirs() const;
    std::string GetFilename(int index) const; // From 0; empty for an index out of range.
    std::shared_ptr<CkoSFtpFile> GetFileObject(int index) const; // Null for an index out of range.

private:
    std::shared_ptr<const std::vector<SFtpEntry>> entries_;
};

} // namespace ssh
