#include "ssh/sftp/ClsSFtp.h"

#include "ssh/crypto/TextConversion.h"
#include "ssh/sftp/DownloadTarget.h"

#include <algorithm>

namespace ssh {

namespace {

// The window of a download: 200 MB/s times a round trip of 80 ms. It is also the most that is kept in memory
// when replies come out of order.
constexpr std::uint32_t kOpenWindow = 16 * 1024 * 1024;

TransportSettings fileDefaults()
{
    TransportSettings settings;
    settings.openWindow = kOpenWindow;
    return settings;
}

struct AccessName {
    std::string_view name;
    SFtpAccess access;
};
constexpr AccessName kAccesses[] = {
    {"readOnly", SFtpAccess::Read},
    {"writeOnly", SFtpAccess::Write},
    {"readWrite", SFtpAccess::ReadWrite},
};

struct DispositionName {
    std::string_view name;
    SFtpDisposition disposition;
};
constexpr DispositionName kDispositions[] = {
    {"createNew", SFtpDisposition::CreateNew},
    {"createTruncate", SFtpDisposition::CreateTruncate},
    {"openExisting", SFtpDisposition::OpenExisting},
    {"openOrCreate", SFtpDisposition::OpenOrCreate},
    {"truncateExisting", SFtpDisposition::TruncateExisting},
};

template <typename Row, std::size_t Count>
const Row* findByName(const Row (&rows)[Count], std::string_view name)
{
    const auto* row =
        std::find_if(std::begin(rows), std::end(rows), [&](const Row& at) { return at.name == name; });
    return row == std::end(rows) ? nullptr : row;
}

// Skips the bytes that the remote file has already.
Status skip(platform::File& local, std::uint64_t count)
{
    const auto size = local.size();
    const Status moved = size.ok() ? local.seek(count) : Status(size.error());
    if (!moved.ok())
        return localFailure(moved.error());
    if (*size < count)
        return Error{"The remote file has " + std::to_string(count) + " bytes and the local one "
            + std::to_string(*size) + ": it isn't the beginning of the local one, and stays as it is."};
    return {};
}

} // namespace

ClsSFtp::ClsSFtp() : ClsConnection(fileDefaults()) { }

ClsSFtp::~ClsSFtp() = default;

void ClsSFtp::configureSftp(const std::function<void(SFtpSettings&)>& change)
{
    const std::lock_guard lock(lock_);
    change(sftpSettings_);
}

void ClsSFtp::setIncludeDotDirs(bool on)
{
    const std::lock_guard lock(lock_);
    includeDotDirs_ = on;
}

void ClsSFtp::setEnableCache(bool on)
{
    const std::lock_guard lock(lock_);
    cacheOn_ = on;
    cache_.clear();
}

bool ClsSFtp::initializeSftp()
{
    return check([&]() -> Status {
        if (!host().connected() || !isLoggedIn()) {
            const Error error{"SFTP needs a user logged in: call AuthenticatePw or AuthenticatePk first."};
            log(error.text);
            return error;
        }
        letGo();
        auto opened = SFtpSession::open(host(), sftpSettings_);
        if (!opened.ok())
            return opened.error();
        session_ = std::move(*opened);
        return {};
    });
}

int ClsSFtp::protocolVersion() const
{
    const std::lock_guard lock(lock_);
    return session_ ? session_->version() : 0;
}

void ClsSFtp::letGo()
{
    session_.reset();
    moreSessions_.reset();
    handles_.clear();
    cache_.clear();
}

Result<SFtpSession*> ClsSFtp::session() const
{
    if (!session_)
        return Error{"There is no SFTP session: call InitializeSftp first."};
    return session_.get();
}

Result<ClsSFtp::Handle*> ClsSFtp::find(const std::string& handle)
{
    const auto at = handles_.find(handle);
    if (!session_ || at == handles_.end())
        return Error{"There is no open file or directory with the handle \"" + printable(handle, 40) + "\"."};
    return &at->second;
}

// The server's handles may be any bytes, even none, so that callers get names of ours.
std::string ClsSFtp::remember(Bytes remote)
{
    std::string name = "handle-" + std::to_string(nextHandle_++);
    handles_[name] = {std::move(remote), 0};
    return name;
}

std::optional<std::string> ClsSFtp::openDir(const std::string& path)
{
    return call(std::optional<std::string>(), [&]() -> Result<std::optional<std::string>> {
        const auto at = session();
        auto remote = at.ok() ? (*at)->openDirectory(path) : Result<Bytes>(at.error());
        if (!remote.ok())
            return Error{path + ": " + remote.error().text};
        return std::optional(remember(std::move(*remote)));
    });
}

std::shared_ptr<const std::vector<SFtpEntry>> ClsSFtp::readDir(const std::string& handle)
{
    using List = std::shared_ptr<const std::vector<SFtpEntry>>;
    return call(List(), [&]() -> Result<List> {
        const auto at = find(handle);
        if (!at.ok())
            return at.error();
        auto entries = readListing(*session_, (*at)->remote, includeDotDirs_);
        if (!entries.ok())
            return entries.error();
        return List(std::make_shared<const std::vector<SFtpEntry>>(std::move(*entries)));
    });
}

bool ClsSFtp::closeHandle(const std::string& handle)
{
    return check([&]() -> Status {
        const auto at = find(handle);
        if (!at.ok())
            return at.error();
        const Bytes remote = std::move((*at)->remote);
        handles_.erase(handle);
        return session_->closeHandle(remote);
    });
}

bool ClsSFtp::createDir(const std::string& path)
{
    return check([&]() -> Status {
        const auto at = session();
        if (!at.ok())
            return at.error();
        cache_.clear();
        const Status made = (*at)->makeDirectory(path);
        return made.ok() ? made : Error{path + ": " + made.error().text};
    });
}

std::optional<std::string> ClsSFtp::openFile(
    const std::string& path, const std::string& access, const std::string& createDisp)
{
    return call(std::optional<std::string>(), [&]() -> Result<std::optional<std::string>> {
        const auto* how = findByName(kAccesses, access);
        const auto* when = findByName(kDispositions, createDisp);
        if (!how || !when)
            return Error{"There is no way to open a file as \"" + access + "\" with \"" + createDisp + "\"."};
        const auto at = session();
        if (!at.ok())
            return at.error();
        cache_.clear();
        auto remote = (*at)->openFile(path, how->access, when->disposition);
        if (!remote.ok())
            return Error{path + ": " + remote.error().text};
        return std::optional(remember(std::move(*remote)));
    });
}

std::optional<std::string> ClsSFtp::readFileText(
    const std::string& handle, std::int64_t numBytes, const std::string& charset)
{
    return call(std::optional<std::string>(), [&]() -> Result<std::optional<std::string>> {
        const auto at = find(handle);
        if (!at.ok())
            return at.error();
        std::string text;
        const auto most = static_cast<std::uint64_t>(std::max<std::int64_t>(numBytes, 0));
        SFtpDownload reading(*session_, (*at)->remote, (*at)->position, most, [&](ByteView data) -> Status {
            text += textOf(data);
            return {};
        });
        const Status status = reading.run();
        if (!status.ok())
            return status.error();
        (*at)->position = reading.position();
        if (!canConvert(charset))
            return Error{"There is no charset \"" + printable(charset, 40) + "\"."};
        return std::optional(convertText(text, charset, "UTF-8"));
    });
}

bool ClsSFtp::writeFileBytes(const std::string& handle, std::span<const std::uint8_t> data)
{
    return check([&]() -> Status {
        const auto at = find(handle);
        if (!at.ok())
            return at.error();
        cache_.clear();
        SFtpUpload writing(*session_, (*at)->remote, (*at)->position, inputFrom(data));
        Status status = writing.run(false);
        if (status.ok())
            (*at)->position = writing.position();
        return status;
    });
}

Status ClsSFtp::download(const std::string& remotePath, const std::string& localPath, bool resuming)
{
    const auto at = session();
    if (!at.ok())
        return at.error();
    const auto remote = (*at)->openFile(remotePath, SFtpAccess::Read, SFtpDisposition::OpenExisting);
    if (!remote.ok())
        return remote.error();
    auto local = DownloadTarget::create(
        localPath, resuming ? DownloadTarget::Mode::Resume : DownloadTarget::Mode::Replace);
    Status status = local.ok() ? Status() : Status(local.error());
    if (status.ok()) {
        SFtpDownload transfer(**at, *remote, local->resumedAt(), std::nullopt,
            [&](ByteView data) { return local->write(data, transfer.attr()); });
        status = transfer.run();
        if (status.ok())
            status = local->finish(transfer.attr());
        else
            (void)local->close();
    }
    (*at)->closeHandleWithoutWaiting(*remote); // The data is complete: nothing depends on the answer.
    const Status flushed = host().flush();
    return status.ok() ? flushed : status;
}

Status ClsSFtp::upload(const std::string& remotePath, const std::string& localPath, bool resuming)
{
    const auto at = session();
    if (!at.ok())
        return at.error();
    // First the local file, because opening the remote one empties it.
    auto local = platform::File::open(localPath, platform::File::Mode::Read);
    if (!local.ok())
        return localFailure(local.error());
    const auto remote = (*at)->openFile(remotePath, SFtpAccess::Write,
        resuming ? SFtpDisposition::OpenOrCreate : SFtpDisposition::CreateTruncate);
    if (!remote.ok())
        return remote.error();
    std::uint64_t from = 0;
    Status status;
    if (resuming) {
        const auto attr = (*at)->attributes(sftp::kFstat, *remote);
        from = attr.ok() ? attr->size.value_or(0) : 0;
        status = attr.ok() ? skip(*local, from) : Status(attr.error());
    }
    if (status.ok()) {
        SFtpUpload transfer(**at, *remote, from, inputFrom(*local));
        status = transfer.run(true);
    }
    if (!status.ok()) {
        (*at)->closeHandleWithoutWaiting(*remote);
        (void)host().flush();
    }
    return status;
}

bool ClsSFtp::downloadFileByName(const std::string& remotePath, const std::string& localPath, bool resuming)
{
    return check([&]() -> Status {
        const Status status = download(remotePath, localPath, resuming);
        return status.ok() ? status : Error{"Downloading " + remotePath + " failed. " + status.error().text};
    });
}

bool ClsSFtp::uploadFileByName(const std::string& remotePath, const std::string& localPath, bool resuming)
{
    return check([&]() -> Status {
        cache_.clear();
        const Status status = upload(remotePath, localPath, resuming);
        return status.ok() ? status : Error{"Uploading to " + remotePath + " failed. " + status.error().text};
    });
}

std::optional<SFtpFileAttr> ClsSFtp::attributes(const std::string& target, bool followLinks, bool isHandle)
{
    return call(std::optional<SFtpFileAttr>(), [&]() -> Result<std::optional<SFtpFileAttr>> {
        const auto at = session();
        if (!at.ok())
            return at.error();
        const auto key = std::pair(target, followLinks);
        if (cacheOn_ && !isHandle && cache_.contains(key))
            return std::optional(cache_[key]);
        const auto handle = isHandle ? find(target) : Result<Handle*>(nullptr);
        if (!handle.ok())
            return handle.error();
        const auto attr = isHandle ? (*at)->attributes(sftp::kFstat, (*handle)->remote)
                                   : (*at)->attributes(followLinks ? sftp::kStat : sftp::kLstat,
                                       viewOf((*at)->nameToServer(target)));
        if (!attr.ok())
            return Error{target + ": " + attr.error().text};
        if (cacheOn_ && !isHandle)
            cache_[key] = *attr;
        return std::optional(*attr);
    });
}

bool ClsSFtp::setPermissions(const std::string& target, bool isHandle, std::uint32_t permissions)
{
    return check([&]() -> Status {
        const auto at = session();
        if (!at.ok())
            return at.error();
        const auto handle = isHandle ? find(target) : Result<Handle*>(nullptr);
        if (!handle.ok())
            return handle.error();
        cache_.clear();
        SFtpFileAttr attr;
        attr.permissions = permissions & 07777;
        return isHandle ? (*at)->setAttributes(sftp::kFsetstat, (*handle)->remote, attr)
                        : (*at)->setAttributes(sftp::kSetstat, viewOf((*at)->nameToServer(target)), attr);
    });
}

} // namespace ssh
