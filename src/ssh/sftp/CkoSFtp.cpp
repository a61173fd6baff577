#include "ssh/sftp/CkoSFtp.h"

#include "ssh/sftp/ClsSFtp.h"
#include "ssh/sftp/SFtpDate.h"

namespace ssh {

CkoSFtp::CkoSFtp() : CkoSFtp(std::make_unique<ClsSFtp>()) { }

CkoSFtp::CkoSFtp(std::unique_ptr<ClsSFtp> impl) : CkoConnection(*impl), impl_(std::move(impl)) { }

CkoSFtp::~CkoSFtp() = default;

bool CkoSFtp::InitializeSftp()
{
    return impl_->initializeSftp();
}
int CkoSFtp::ProtocolVersion() const
{
    return impl_->protocolVersion();
}

void CkoSFtp::setForceV3(bool on)
{
    impl_->configureSftp([&](SFtpSettings& settings) { settings.forceV3 = on; });
}

void CkoSFtp::setUploadChunkSize(int bytes)
{
    impl_->configureSftp([&](SFtpSettings& settings) {
        settings.uploadChunk = static_cast<std::uint32_t>(std::max(bytes, 0));
    });
}

void CkoSFtp::setIncludeDotDirs(bool on)
{
    impl_->setIncludeDotDirs(on);
}
void CkoSFtp::setEnableCache(bool on)
{
    impl_->setEnableCache(on);
}

std::optional<std::string> CkoSFtp::OpenDir(const std::string& path)
{
    return impl_->openDir(path);
}

std::shared_ptr<CkoSFtpDir> CkoSFtp::ReadDir(const std::optional<std::string>& handle)
{
    if (!handle)
        return nullptr;
    auto entries = impl_->readDir(*handle);
    return entries ? std::make_shared<CkoSFtpDir>(std::move(entries)) : nullptr;
}

bool CkoSFtp::CloseHandle(const std::string& handle)
{
    return impl_->closeHandle(handle);
}
bool CkoSFtp::CreateDir(const std::string& path)
{
    return impl_->createDir(path);
}

std::optional<std::string> CkoSFtp::OpenFile(
    const std::string& path, const std::string& access, const std::string& createDisp)
{
    return impl_->openFile(path, access, createDisp);
}

std::optional<std::string> CkoSFtp::ReadFileText(
    const std::string& handle, std::int64_t numBytes, const std::string& charset)
{
    return impl_->readFileText(handle, numBytes, charset);
}

bool CkoSFtp::WriteFileBytes(const std::string& handle, std::span<const std::uint8_t> data)
{
    return impl_->writeFileBytes(handle, data);
}

bool CkoSFtp::UploadFileByName(const std::string& remoteFilePath, const std::string& localFilePath)
{
    return impl_->uploadFileByName(remoteFilePath, localFilePath, false);
}

bool CkoSFtp::ResumeUploadFileByName(const std::string& remoteFilePath, const std::string& localFilePath)
{
    return impl_->uploadFileByName(remoteFilePath, localFilePath, true);
}

bool CkoSFtp::DownloadFileByName(const std::string& remoteFilePath, const std::string& localFilePath)
{
    return impl_->downloadFileByName(remoteFilePath, localFilePath, false);
}

bool CkoSFtp::ResumeDownloadFileByName(const std::string& remoteFilePath, const std::string& localFilePath)
{
    return impl_->downloadFileByName(remoteFilePath, localFilePath, true);
}

std::vector<bool> CkoSFtp::CreateDirs(const std::vector<std::string>& paths)
{
    return impl_->createDirs(paths);
}

std::vector<std::shared_ptr<CkoSFtpDir>> CkoSFtp::ReadDirs(const std::vector<std::string>& paths)
{
    std::vector<std::shared_ptr<CkoSFtpDir>> folders;
    for (auto& entries : impl_->readDirs(paths))
        folders.push_back(entries ? std::make_shared<CkoSFtpDir>(std::move(entries)) : nullptr);
    return folders;
}

std::vector<std::int64_t> CkoSFtp::OpenedFileSizes(const std::vector<std::string>& paths)
{
    return impl_->openedFileSizes(paths);
}

std::vector<CkoTransfer> CkoSFtp::UploadFiles(const std::vector<CkoUpload>& files, const Progress& done)
{
    return impl_->uploadFiles(files, done);
}

std::vector<CkoTransfer> CkoSFtp::DownloadFiles(const std::vector<CkoDownload>& files)
{
    return impl_->downloadFiles(files);
}

int CkoSFtp::GetFilePermissions(const std::string& pathOrHandle, bool bFollowLinks, bool bIsHandle)
{
    const auto attr = impl_->attributes(pathOrHandle, bFollowLinks, bIsHandle);
    return attr ? static_cast<int>(attr->permissions.value_or(0) & 07777) : -1;
}

std::int64_t CkoSFtp::GetFileSize64(const std::string& pathOrHandle, bool bFollowLinks, bool bIsHandle)
{
    const auto attr = impl_->attributes(pathOrHandle, bFollowLinks, bIsHandle);
    return attr ? sizeOrNegative(*attr) : -1;
}

std::optional<CkoDate> CkoSFtp::GetFileCreateTime(
    const std::string& pathOrHandle, bool bFollowLinks, bool bIsHandle)
{
    const auto attr = impl_->attributes(pathOrHandle, bFollowLinks, bIsHandle);
    if (!attr)
        return std::nullopt;
    // Callers take a date for the proof that the file exists, so there must always be one.
    return dateFrom(attr->createTime.value_or(attr->modifyTime.value_or(0)));
}

std::optional<CkoDate> CkoSFtp::GetFileLastModified(
    const std::string& pathOrHandle, bool bFollowLinks, bool bIsHandle)
{
    const auto attr = impl_->attributes(pathOrHandle, bFollowLinks, bIsHandle);
    return attr ? dateFrom(attr->modifyTime.value_or(0)) : std::nullopt;
}

bool CkoSFtp::SetPermissions(const std::string& pathOrHandle, bool bIsHandle, int perm)
{
    return impl_->setPermissions(pathOrHandle, bIsHandle, static_cast<std::uint32_t>(perm));
}

} // namespace ssh
