#pragma once

#include "ssh/session/CkoConnection.h"
#include "ssh/sftp/CkoSFtpDir.h"

#include <span>

namespace ssh {

class ClsSFtp;

// An SSH connection with one SFTP subsystem. See CkoConnection for what holds of every call. Remote paths are
// relative to the login's home directory unless absolute; a handle is an opaque non-empty string. Files of
// any size pass through a few megabytes of memory.
class CkoSFtp : public CkoConnection {
public:
    CkoSFtp();
    ~CkoSFtp();

    bool InitializeSftp(); // Opens the channel, starts the subsystem, negotiates the version.
    int ProtocolVersion() const; // From 3 to 6; 0 before InitializeSftp.
    void setForceV3(bool on); // Offers version 3 alone. Before InitializeSftp, as the next one.
    void setUploadChunkSize(int bytes); // 32000 unless set.
    void setIncludeDotDirs(bool on); // Whether ReadDir keeps "." and ".."; off unless set.
    void setEnableCache(bool on); // Remembers attributes until something is changed; off unless set.

    std::optional<std::string> OpenDir(const std::string& path); // Null when it is no readable directory.
    // The whole directory, to the end of the listing; null for a null handle. Names that aren't bare are left
    // out.
    std::shared_ptr<CkoSFtpDir> ReadDir(const std::optional<std::string>& handle);
    bool CloseHandle(const std::string& handle);
    bool CreateDir(const std::string& path); // One level.

    // access: "readOnly", "writeOnly", "readWrite". createDisp: "createNew", "createTruncate",
    // "openExisting", "openOrCreate", "truncateExisting".
    std::optional<std::string> OpenFile(
        const std::string& path, const std::string& access, const std::string& createDisp);
    // At most so many bytes from the handle's position, taken as text in the charset ("us-ascii", "utf-8" or
    // what the system knows), as UTF-8. Empty at the end of the file, null on failure.
    std::optional<std::string> ReadFileText(
        const std::string& handle, std::int64_t numBytes, const std::string& charset);
    bool WriteFileBytes(const std::string& handle, std::span<const std::uint8_t> data); // At its position.

    bool UploadFileByName(const std::string& remoteFilePath, const std::string& localFilePath);
    bool ResumeUploadFileByName(const std::string& remoteFilePath, const std::string& localFilePath);
    bool DownloadFileByName(const std::string& remoteFilePath, const std::string& localFilePath);
    // Appends to the local file from an offset equal to its size; with no local file the same as a download.
    // After a failure, what the local file holds is what the remote one begins with.
    bool ResumeDownloadFileByName(const std::string& remoteFilePath, const std::string& localFilePath);

    // The string is a path, or with `bIsHandle` a handle. Without `bFollowLinks`, a link itself is meant.
    int GetFilePermissions(
        const std::string& pathOrHandle, bool bFollowLinks, bool bIsHandle); // Or negative.
    std::int64_t GetFileSize64(
        const std::string& pathOrHandle, bool bFollowLinks, bool bIsHandle); // Likewise.
    // Null when the path doesn't exist. A server that keeps no creation times gives another date of the file.
    std::optional<CkoDate> GetFileCreateTime(
        const std::string& pathOrHandle, bool bFollowLinks, bool bIsHandle);
    std::optional<CkoDate> GetFileLastModified(
        const std::string& pathOrHandle, bool bFollowLinks, bool bIsHandle);
    bool SetPermissions(const std::string& pathOrHandle, bool bIsHandle, int perm);

private:
    explicit CkoSFtp(std::unique_ptr<ClsSFtp> impl);
    std::unique_ptr<ClsSFtp> impl_;
};

} // namespace ssh
