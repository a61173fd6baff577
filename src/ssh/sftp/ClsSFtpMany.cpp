// The operations of ClsSFtp on many files: small ones go together, larger ones one after another.

#include "platform/files/FileManager.h"
#include "ssh/sftp/ClsSFtp.h"
#include "ssh/sftp/DownloadTarget.h"

#include <algorithm>

namespace ssh {

namespace {

constexpr std::size_t kFilesTogether = 5000; // The larger ones of these follow them.
// OpenSSH's window of 2 MB holds one channel to 40 MB/s over a round trip of 50 ms. It allows ten sessions.
constexpr std::size_t kMoreSessions = 5;
constexpr std::uint64_t kWorthMoreSessions = std::uint64_t{16} << 20; // Bytes.

bool isSmall(const CkoUpload& file)
{
    const std::uint64_t size =
        file.localPath ? platform::files::size(*file.localPath).value_or(0) : file.data.size();
    return size <= sftpmany::kSmallFile;
}

bool isSmall(const CkoDownload& file)
{
    const auto here = file.resuming ? platform::files::size(file.localPath).value_or(0) : 0;
    return file.expectedSize >= 0
        && static_cast<std::uint64_t>(file.expectedSize) <= sftpmany::kSmallFile + here;
}

// The small ones of some files with their outcomes.
template <typename File>
struct SmallOnes {
    SmallOnes(std::span<const File> all, std::span<CkoTransfer> outcomesOfAll)
    {
        for (std::size_t i = 0; i < all.size(); ++i)
            if (isSmall(all[i])) {
                files.push_back(&all[i]);
                outcomes.push_back(&outcomesOfAll[i]);
            }
    }
    std::vector<const File*> files;
    std::vector<CkoTransfer*> outcomes;
};

// Carries out `together` for the small files and `single` for each other one, some thousands at a time.
template <typename File, typename Together, typename Single>
Status forAll(const std::vector<File>& files, std::vector<CkoTransfer>& outcomes, Together together,
    Single single, const std::function<void(std::size_t)>& done)
{
    for (std::size_t first = 0; first < files.size(); first += kFilesTogether) {
        const std::size_t count = std::min(kFilesTogether, files.size() - first);
        const auto some = std::span(files).subspan(first, count);
        const auto theirs = std::span(outcomes).subspan(first, count);
        const SmallOnes<File> small(some, theirs);
        std::size_t through = first;
        const auto ended = [&](std::size_t ofSmall) {
            through = first + ofSmall;
            if (done)
                done(through);
        };
        if (Status status = together(small, ended); !status.ok())
            return status;
        for (std::size_t i = 0; i < count; ++i)
            if (!std::binary_search(small.files.begin(), small.files.end(), &some[i])) {
                const Status status = single(some[i]);
                theirs[i] = {status.ok(), status.ok() ? "" : status.error().text};
                if (done)
                    done(++through);
            }
    }
    return {};
}

} // namespace

std::vector<bool> ClsSFtp::createDirs(const std::vector<std::string>& paths)
{
    std::vector<bool> exist(paths.size(), false);
    check([&]() -> Status {
        cache_.clear();
        const auto at = session();
        return at.ok() ? sftpmany::makeDirectories(**at, paths, exist) : Status(at.error());
    });
    return exist;
}

std::vector<std::shared_ptr<const std::vector<SFtpEntry>>> ClsSFtp::readDirs(
    const std::vector<std::string>& paths)
{
    std::vector<std::shared_ptr<const std::vector<SFtpEntry>>> listings(paths.size());
    check([&]() -> Status {
        const auto at = session();
        const Status status =
            at.ok() ? sftpmany::list(**at, paths, includeDotDirs_, listings) : Status(at.error());
        return status.ok() ? host().flush() : status;
    });
    return listings;
}

std::vector<std::int64_t> ClsSFtp::openedFileSizes(const std::vector<std::string>& paths)
{
    std::vector<std::int64_t> sizes(paths.size(), -1);
    check([&]() -> Status {
        const auto at = session();
        const Status status = at.ok() ? sftpmany::sizes(**at, paths, sizes) : Status(at.error());
        return status.ok() ? host().flush() : status;
    });
    return sizes;
}

std::vector<CkoTransfer> ClsSFtp::uploadFiles(
    const std::vector<CkoUpload>& files, const std::function<void(std::size_t)>& done)
{
    std::vector<CkoTransfer> outcomes(files.size(), {false, "The file's turn didn't come."});
    check([&]() -> Status {
        cache_.clear();
        const auto at = session();
        if (!at.ok())
            return at.error();
        return forAll(
            files, outcomes,
            [&](const auto& small, const auto& ended) {
                return sftpmany::upload(**at, small.files, small.outcomes, ended);
            },
            [&](const CkoUpload& file) { return uploadLarge(file); }, done);
    });
    return outcomes;
}

Status ClsSFtp::uploadLarge(const CkoUpload& file)
{
    if (file.isMadeAnew) // There may be none.
        if (const auto reply = session_->ask(sftp::kRemove, session_->pathRequest(file.remotePath));
            !reply.ok())
            return reply.error();
    Status status;
    if (file.localPath) {
        // First the local file, because opening the remote one empties it.
        auto local = platform::File::open(*file.localPath, platform::File::Mode::Read);
        if (!local.ok())
            return localFailure(local.error());
        status = write(file.remotePath, inputFrom(*local), local->size().value_or(0));
    } else {
        status = write(file.remotePath, inputFrom(file.data), file.data.size());
    }
    if (!status.ok() || !file.permissions)
        return status;
    SFtpFileAttr attr;
    attr.permissions = static_cast<std::uint32_t>(*file.permissions);
    const std::string name = session_->nameToServer(file.remotePath);
    const auto reply =
        session_->ask(sftp::kSetstat, session_->setAttributesRequest(viewOf(name), attr)); // May be refused.
    return reply.ok() ? Status() : reply.error();
}

Status ClsSFtp::write(const std::string& remotePath, const SFtpUpload::Input& input, std::uint64_t size)
{
    const auto remote = session_->openFile(remotePath, SFtpAccess::Write, SFtpDisposition::CreateTruncate);
    if (!remote.ok())
        return remote.error();
    SFtpUpload transfer(*session_, *remote, 0, input);
    if (size >= kWorthMoreSessions && !session_->limits().slowWindow)
        addChannels(transfer, remotePath);
    Status status = transfer.run(true);
    if (!status.ok())
        transfer.closeWithoutWaiting();
    return status;
}

void ClsSFtp::addChannels(SFtpUpload& transfer, const std::string& remotePath)
{
    if (!moreSessions_)
        moreSessions_ = SFtpSession::openSeveral(host(), sftpSettings_, kMoreSessions);
    std::vector<std::pair<SFtpSession*, std::uint32_t>> asked;
    for (const auto& session : *moreSessions_) {
        const auto request =
            session->openRequest(remotePath, SFtpAccess::Write, SFtpDisposition::OpenExisting);
        if (const auto id = session->send(sftp::kOpen, request); id.ok())
            asked.emplace_back(session.get(), *id);
    }
    for (const auto& [session, id] : asked) {
        const auto reply = session->await(id);
        if (const auto handle = reply.ok() ? session->handleOf(*reply) : reply.error(); handle.ok())
            transfer.addChannel(*session, *handle);
    }
}

std::vector<CkoTransfer> ClsSFtp::downloadFiles(const std::vector<CkoDownload>& files)
{
    std::vector<CkoTransfer> outcomes(files.size(), {false, "The file's turn didn't come."});
    check([&]() -> Status {
        const auto at = session();
        if (!at.ok())
            return at.error();
        const Status status = forAll(
            files, outcomes,
            [&](const auto& small, const auto&) {
                return sftpmany::download(**at, small.files, small.outcomes);
            },
            [&](const CkoDownload& file) { return download(file.remotePath, file.localPath, file.resuming); },
            nullptr);
        return status.ok() ? host().flush() : status;
    });
    return outcomes;
}

} // namespace ssh
