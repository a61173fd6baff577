#include "ssh/sftp/DownloadTarget.h"

#include "platform/files/FileManager.h"

namespace ssh {

using platform::File;

Error localFailure(const Error& error)
{
    return Error{"The local file " + error.text + "."};
}

Result<DownloadTarget> DownloadTarget::create(const std::string& path, Mode mode)
{
    DownloadTarget target(path);
    if (mode == Mode::Replace || !platform::files::exists(path))
        return target;
    auto file = File::open(path, File::Mode::Append);
    const auto size = file.ok() ? file->size() : Result<std::uint64_t>(file.error());
    if (!size.ok())
        return localFailure(size.error());
    target.file_ = std::move(*file);
    target.resumedAt_ = *size;
    return target;
}

Status DownloadTarget::open(const SFtpFileAttr& remote)
{
    if (file_)
        return {};
    const std::uint32_t permissions =
        remote.permissions ? (*remote.permissions & 0777) | platform::files::kOwnersFile : 0666;
    auto file = File::open(path_, File::Mode::Replace, permissions);
    if (!file.ok())
        return localFailure(file.error());
    file_ = std::move(*file);
    return {};
}

Status DownloadTarget::write(ByteView bytes, const SFtpFileAttr& remote)
{
    Status status = open(remote);
    if (!status.ok())
        return status;
    written_ = true;
    status = file_->write(textOf(bytes));
    return status.ok() ? status : localFailure(status.error());
}

Status DownloadTarget::finish(const SFtpFileAttr& remote)
{
    // A generated file, as in /proc, has a size of 0 and content all the same.
    if (!written_ && remote.size && *remote.size < resumedAt_)
        return Error{"The local file " + path_ + " has " + std::to_string(resumedAt_)
            + " bytes and the remote one " + std::to_string(*remote.size)
            + ": it isn't the beginning of the remote one, and stays as it is."};
    const Status opened = open(remote);
    return opened.ok() ? close() : opened;
}

Status DownloadTarget::close()
{
    const Status closed = file_ ? file_->close() : Status();
    return closed.ok() ? closed : localFailure(closed.error());
}

} // namespace ssh
