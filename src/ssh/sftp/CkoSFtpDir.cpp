#include "ssh/sftp/CkoSFtpDir.h"

#include "ssh/sftp/ClsSFtp.h"
#include "ssh/sftp/SFtpDate.h"

namespace ssh {

using Type = SFtpFileAttr::Type;

CkoSFtpFile::CkoSFtpFile(std::shared_ptr<const std::vector<SFtpEntry>> entries, std::size_t index)
    : entries_(std::move(entries)), index_(index)
{ }

const SFtpEntry& CkoSFtpFile::entry() const
{
    return (*entries_)[index_];
}

std::string CkoSFtpFile::Filename() const
{
    return entry().name;
}

std::int64_t CkoSFtpFile::Size64() const
{
    return sizeOrNegative(entry().attr);
}

int CkoSFtpFile::Permissions() const
{
    return static_cast<int>(entry().attr.permissions.value_or(0) & 07777);
}

bool CkoSFtpFile::IsDirectory() const
{
    return entry().attr.type == Type::Directory;
}
bool CkoSFtpFile::IsRegular() const
{
    return entry().attr.type == Type::Regular;
}
bool CkoSFtpFile::IsSymLink() const
{
    return entry().attr.type == Type::SymbolicLink;
}
std::string CkoSFtpFile::Owner() const
{
    return entry().attr.owner.value_or("");
}
std::string CkoSFtpFile::Group() const
{
    return entry().attr.group.value_or("");
}
std::optional<CkoDate> CkoSFtpFile::LastModifiedTime() const
{
    return dateFrom(entry().attr.modifyTime);
}
std::optional<CkoDate> CkoSFtpFile::LastAccessTime() const
{
    return dateFrom(entry().attr.accessTime);
}
std::optional<CkoDate> CkoSFtpFile::CreateTime() const
{
    return dateFrom(entry().attr.createTime);
}

CkoSFtpDir::CkoSFtpDir(std::shared_ptr<const std::vector<SFtpEntry>> entries) : entries_(std::move(entries))
{ }

int CkoSFtpDir::NumFilesAndDirs() const
{
    return static_cast<int>(entries_->size());
}

std::string CkoSFtpDir::GetFilename(int index) const
{
    return index >= 0 && index < NumFilesAndDirs() ? (*entries_)[static_cast<std::size_t>(index)].name
                                                   : std::string();
}

std::shared_ptr<CkoSFtpFile> CkoSFtpDir::GetFileObject(int index) const
{
    if (index < 0 || index >= NumFilesAndDirs())
        return nullptr;
    return std::make_shared<CkoSFtpFile>(entries_, static_cast<std::size_t>(index));
}

} // namespace ssh
