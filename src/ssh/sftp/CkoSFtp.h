#pragma once

#include "ssh/session/CkoConnection.h"
#include "ssh/sftp/CkoSFtpDir.h"
#include "ssh/sftp/CkoTransfer.h"

#include <functional>
#include <span>

namespace ssh {

class ClsSFtp;

// An SSH connection with one SFTP subsystem. See CkoConnection for the rules of all calls. Remote paths are
// relative to the login's home directory unless absolute; a handle is an opaque non-empty string. Transfers
// need less than 32 MB of memory, whatever the size of the file.
class CkoSFtp : public CkoConnection {
public:
    CkoSFtp();
    ~CkoSFtp();

    bool InitializeSftp(); // Opens the channel, starts the subsystem, negotiates the version.
    int ProtocolVersion() const; // From 3 to 6; 0 before InitializeSftp.
    void setForceV3(bool on); // Offers only version 3. This and the next before InitializeSftp.
    void setUploadChunkSize(int bytes); // 32000 unless set.
    void setIncludeDotDirs(bool on); // Whether ReadDir keeps "." and ".."; off unless set.
    void setEnableCache(bool on); // Keeps attributes until a call changes something; off unless set.

    std::optional<std::string> OpenDir(const std::string& path); // Null unless it is a readable directory.
    // The whole directory; null for a null handle. Leaves out names with a slash.
    std::shared_ptr<CkoSFtpDir> ReadDir(const std::optional<std::string>& handle);
    bool CloseHandle(const std::string& handle);
    bool CreateDir(const std::string& path); // One level.

    // access: "readOnly", "writeOnly", "readWrite". createDisp: "createNew", "createTruncate",
    // "openExisting", "openOrCreate", "truncateExisting".
    std::optional<std::string> OpenFile(
        const std::string& path, const std::string& access, const std::string& createDisp);
    // At most so many bytes from the handle's position, converted from the charset ("us-ascii", "utf-8" or
    // another that iconv knows) to UTF-8. Empty at the end of the file, null on failure.
    std::optional<std::string> ReadFileText(
        const std::string& handle, std::int64_t numBytes, const std::string& charset);
    bool WriteFileBytes(const std::string& handle, std::span<const std::uint8_t> data); // At its position.

    bool UploadFileByName(const std::string& remoteFilePath, const std::string& localFilePath);
    bool ResumeUploadFileByName(const std::string& remoteFilePath, const std::string& localFilePath);
    bool DownloadFileByName(const std::string& remoteFilePath, const std::string& localFilePath);
    // Continues at the local file's size; without a local file the same as a download. Fails when the local
    // file is longer than the remote one. After a failure, the local file is the beginning of the remote one.
    bool ResumeDownloadFileByName(const std::string& remoteFilePath, const std::string& localFilePath);

    // Many requests that go out together, so that the time of a round trip is spent once for all of them. The
    // results stand in the order of the requests. After a failed connection, LastErrorText tells of it.
    std::vector<bool> CreateDirs(const std::vector<std::string>& paths); // Whether each exists now.
    // Null for what can't be listed.
    std::vector<std::shared_ptr<CkoSFtpDir>> ReadDirs(const std::vector<std::string>& paths);
    // The sizes that opened files have, which a listing may tell too late; negative on failure.
    std::vector<std::int64_t> OpenedFileSizes(const std::vector<std::string>& paths);
    // Files of different names. `done` is called with the number of files that are through.
    using Progress = std::function<void(std::size_t done)>;
    std::vector<CkoTransfer> UploadFiles(const std::vector<CkoUpload>& files, const Progress& done = nullptr);
    std::vector<CkoTransfer> DownloadFiles(const std::vector<CkoDownload>& files);

    // The string is a path, or with `bIsHandle` a handle. Without `bFollowLinks`, a link is not followed.
    int GetFilePermissions(
        const std::string& pathOrHandle, bool bFollowLinks, bool bIsHandle); // Negative on failure.
    std::int64_t GetFileSize64(
        const std::string& pathOrHandle, bool bFollowLinks, bool bIsHandle); // Negative on failure.
    // Null when the path doesn't exist. Where the server has no creation time, another date of the file.
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
