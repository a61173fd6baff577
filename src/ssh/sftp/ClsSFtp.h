#pragma once

#include "ssh/session/ClsConnection.h"
#include "ssh/sftp/SFtpManyFiles.h"
#include "ssh/sftp/SFtpTransfer.h"

#include <map>

namespace ssh {

// The class behind CkoSFtp: a connection with one SFTP subsystem.
class ClsSFtp : public ClsConnection {
public:
    ClsSFtp();
    ~ClsSFtp() override;

    void configureSftp(const std::function<void(SFtpSettings&)>& change);
    void setIncludeDotDirs(bool on);
    void setEnableCache(bool on);
    bool initializeSftp();
    int protocolVersion() const; // 0 before `initializeSftp`.

    std::optional<std::string> openDir(const std::string& path);
    std::shared_ptr<const std::vector<SFtpEntry>> readDir(const std::string& handle);
    bool closeHandle(const std::string& handle);
    bool createDir(const std::string& path);
    std::optional<std::string> openFile(
        const std::string& path, const std::string& access, const std::string& createDisp);
    std::optional<std::string> readFileText(
        const std::string& handle, std::int64_t numBytes, const std::string& charset);
    bool writeFileBytes(const std::string& handle, std::span<const std::uint8_t> data);
    bool uploadFileByName(const std::string& remotePath, const std::string& localPath, bool resuming);
    bool downloadFileByName(const std::string& remotePath, const std::string& localPath, bool resuming);
    std::vector<bool> createDirs(const std::vector<std::string>& paths);
    std::vector<std::shared_ptr<const std::vector<SFtpEntry>>> readDirs(
        const std::vector<std::string>& paths);
    std::vector<std::int64_t> openedFileSizes(const std::vector<std::string>& paths);
    std::vector<CkoTransfer> uploadFiles(
        const std::vector<CkoUpload>& files, const std::function<void(std::size_t)>& done);
    std::vector<CkoTransfer> downloadFiles(const std::vector<CkoDownload>& files);
    std::optional<SFtpFileAttr> attributes(const std::string& target, bool followLinks, bool isHandle);
    bool setPermissions(const std::string& target, bool isHandle, std::uint32_t permissions);

private:
    struct Handle {
        Bytes remote;
        std::uint64_t position = 0; // Of the next byte to read or write.
    };
    void letGo() override;
    bool takesErrorOutput() const override { return false; }
    Result<SFtpSession*> session() const;
    Result<Handle*> find(const std::string& handle);
    std::string remember(Bytes remote);
    Status download(const std::string& remotePath, const std::string& localPath, bool resuming);
    Status upload(const std::string& remotePath, const std::string& localPath, bool resuming);
    Status uploadLarge(const CkoUpload& file);
    Status write(const std::string& remotePath, const SFtpUpload::Input& input, std::uint64_t size);
    void addChannels(SFtpUpload& transfer, const std::string& remotePath);

    SFtpSettings sftpSettings_;
    bool includeDotDirs_ = false;
    bool cacheOn_ = false;
    std::map<std::pair<std::string, bool>, SFtpFileAttr> cache_; // By path and whether links are followed.
    std::unique_ptr<SFtpSession> session_;
    std::optional<std::vector<std::unique_ptr<SFtpSession>>> moreSessions_; // For very large files.
    std::map<std::string, Handle> handles_;
    std::uint64_t nextHandle_ = 1;
};

} // namespace ssh
