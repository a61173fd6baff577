#include "remote/cluster/SVSCPCopyFromFolders.h"

#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"
#include "remote/cluster/JobScripts.h"

#include <fmt/format.h>

#include <algorithm>

namespace {

namespace files = platform::files;
using platform::paths::appending;

constexpr std::size_t kMostComplaints = 20;
constexpr std::size_t kFoldersAtOnce = 500; // Whose listings are asked for together.
constexpr std::int64_t kLittle = 32 << 20; // Bytes that folders bring together, at most.

std::int64_t localSize(const std::string& path)
{
    return static_cast<std::int64_t>(files::size(path).value_or(0));
}

// What has come must not be lost with the power once the cluster's copy is gone.
platform::Status flushFolder(const std::string& folder)
{
    const auto names = files::contentsOfDirectory(folder);
    if (!names.ok())
        return names.error();
    for (const std::string& name : *names)
        if (const auto status = files::flush(appending(folder, name)); !status.ok())
            return status;
    return files::flush(folder);
}

} // namespace

void SVSCPCopyFromFolders::main()
{
    {
        ssh::CkoSFtp sftp;
        error_ = authenticateFTP(sftp);
        if (!error_)
            for (std::size_t i = 0; i < fileList_.size() && !isCancelled(); i += kFoldersAtOnce)
                copyFolders(
                    sftp, std::span(fileList_).subspan(i, std::min(kFoldersAtOnce, fileList_.size() - i)));
    }
    callBack(callback_.copyFromFoldersFinished);
}

void SVSCPCopyFromFolders::complain(std::string sentence)
{
    if (complaints_.size() < kMostComplaints)
        complaints_.push_back(std::move(sentence));
}

SVSCPCopyFromFolders::Folder SVSCPCopyFromFolders::look(
    const std::string& name, const ssh::CkoSFtpDir* listing)
{
    Folder folder{name, appending(workDirectory_, name), appending(localDirectory_, name), {}, {}, false,
        false, true, {}, {}};
    for (int i = 0; listing && i < listing->NumFilesAndDirs(); ++i) {
        const auto file = listing->GetFileObject(i);
        const std::string entry = file->Filename();
        const bool isFile = file->IsRegular() || file->IsSymLink();
        if (entry.empty() || entry.front() == '.' || !isFile)
            continue;
        if (!files::isValidUtf8(entry)) {
            complain(fmt::format("{} holds a file whose name is no UTF-8; it isn't brought.", folder.remote));
            continue;
        }
        (files::exists(appending(folder.local, entry)) ? folder.existing : folder.fresh)
            .push_back({entry, file->Size64(), file->IsSymLink()});
    }
    std::erase_if(folder.fresh, [this](const RemoteFile& file) { return excludeFiles_.contains(file.name); });
    const auto holds = [](const std::vector<RemoteFile>& list, const char* wanted) {
        return std::any_of(list.begin(), list.end(), [&](const auto& file) { return file.name == wanted; });
    };
    folder.isCompleted = holds(folder.fresh, jobscripts::kRunCompleted);
    folder.isActive =
        holds(folder.fresh, jobscripts::kRunStarted) || holds(folder.existing, jobscripts::kRunStarted);
    return folder;
}

void SVSCPCopyFromFolders::copyFolders(ssh::CkoSFtp& sftp, std::span<const std::string> names)
{
    std::vector<std::string> paths;
    for (const std::string& name : names)
        paths.push_back(appending(workDirectory_, name));
    const auto listings = sftp.ReadDirs(paths);
    std::vector<Folder> folders;
    for (std::size_t i = 0; i < names.size(); ++i)
        if (Folder folder = look(names[i], listings[i].get()); folder.isActive)
            folders.push_back(std::move(folder));
    askForSizes(sftp, folders);
    // Those with much to bring go alone, so that the user sees which one it is.
    std::size_t first = 0;
    std::int64_t together = 0;
    for (std::size_t i = 0; i < folders.size(); ++i) {
        std::int64_t bytes = 0;
        for (const Transfer& transfer : transfersOf(folders[i]))
            bytes += std::max<std::int64_t>(
                transfer.download.expectedSize - std::max<std::int64_t>(transfer.before, 0), 0);
        if (together + bytes > kLittle && i > first) {
            copy(sftp, std::span(folders).subspan(first, i - first));
            first = i;
            together = 0;
        }
        together += bytes;
    }
    copy(sftp, std::span(folders).subspan(first));
}

// A network file system's listing may tell an old size, and nobody would look at a completed run again; that
// of a link is the link's own.
void SVSCPCopyFromFolders::askForSizes(ssh::CkoSFtp& sftp, std::vector<Folder>& folders)
{
    std::vector<RemoteFile*> asked;
    std::vector<std::string> paths;
    for (Folder& folder : folders)
        for (std::vector<RemoteFile>* list : {&folder.existing, &folder.fresh})
            for (RemoteFile& file : *list)
                if (file.isLink || file.size < 0 || (folder.isCompleted && list == &folder.existing)) {
                    asked.push_back(&file);
                    paths.push_back(appending(folder.remote, file.name));
                }
    const auto sizes = sftp.OpenedFileSizes(paths);
    for (std::size_t i = 0; i < asked.size(); ++i)
        asked[i]->size = sizes[i];
    // A link may lead to a device, which has no size and no end.
    for (Folder& folder : folders)
        std::erase_if(folder.fresh, [](const RemoteFile& file) { return file.isLink && file.size <= 0; });
}

std::vector<SVSCPCopyFromFolders::Transfer> SVSCPCopyFromFolders::transfersOf(Folder& folder)
{
    std::vector<Transfer> transfers;
    const auto add = [&](const RemoteFile& file, std::int64_t before) {
        transfers.push_back({&folder, file.name, before,
            {appending(folder.remote, file.name), appending(folder.local, file.name), before >= 0,
                file.size}});
    };
    for (const RemoteFile& file : folder.existing)
        if (const std::int64_t here = localSize(appending(folder.local, file.name)); here < file.size)
            add(file, here);
    for (const RemoteFile& file : folder.fresh)
        if (file.name != jobscripts::kRunCompleted)
            add(file, -1);
    return transfers;
}

void SVSCPCopyFromFolders::copy(ssh::CkoSFtp& sftp, std::span<Folder> folders)
{
    if (folders.empty())
        return;
    reportStart(folders.front());
    std::vector<Transfer> transfers;
    for (Folder& folder : folders)
        std::ranges::move(transfersOf(folder), std::back_inserter(transfers));
    carryOut(sftp, transfers);
    fetchMarks(sftp, folders);
    reportEnds(folders);
}

void SVSCPCopyFromFolders::carryOut(ssh::CkoSFtp& sftp, const std::vector<Transfer>& transfers)
{
    std::vector<ssh::CkoDownload> downloads;
    for (const Transfer& transfer : transfers)
        downloads.push_back(transfer.download);
    const auto outcomes = sftp.DownloadFiles(downloads);
    for (std::size_t i = 0; i < transfers.size(); ++i) {
        const Transfer& transfer = transfers[i];
        if (!outcomes[i].ok()) {
            if (const auto handle = sftp.OpenDir(transfer.download.remotePath)) {
                sftp.CloseHandle(*handle); // A link to a folder holds nothing up.
                continue;
            }
            transfer.folder->everythingArrived = false;
            complain(fmt::format("{}: {}", transfer.download.remotePath, outcomes[i].error));
            continue;
        }
        const std::string& local = transfer.download.localPath;
        bytesCopiedOver_ += localSize(local) - std::max<std::int64_t>(transfer.before, 0);
        if (transfer.before >= 0)
            transfer.folder->updated.push_back(local);
        else
            transfer.folder->fetched.push_back(transfer.name);
    }
}

// The presence of a mark here proves that all else of its run has arrived.
void SVSCPCopyFromFolders::fetchMarks(ssh::CkoSFtp& sftp, std::span<Folder> folders)
{
    std::vector<Transfer> marks;
    for (Folder& folder : folders) {
        if (!folder.isCompleted || !folder.everythingArrived)
            continue;
        if (const auto status = flushFolder(folder.local); !status.ok()) {
            complain(status.error().text);
            continue;
        }
        marks.push_back({&folder, jobscripts::kRunCompleted, -1,
            {appending(folder.remote, jobscripts::kRunCompleted),
                appending(folder.local, jobscripts::kRunCompleted), false, 0}});
    }
    carryOut(sftp, marks);
    keepMarks(marks);
}

// The cluster's copy is removed once every mark is here: one that a loss of power could take is fetched
// again.
void SVSCPCopyFromFolders::keepMarks(const std::vector<Transfer>& marks)
{
    for (const Transfer& mark : marks) {
        const std::string& path = mark.download.localPath;
        if (!files::exists(path))
            continue;
        auto kept = files::flush(path);
        if (kept.ok())
            kept = files::flush(mark.folder->local);
        if (kept.ok())
            continue;
        complain(kept.error().text);
        std::erase(mark.folder->fetched, mark.name);
        if (const auto removed = files::remove(path); !removed.ok())
            complain(removed.error().text);
    }
}

void SVSCPCopyFromFolders::reportStart(const Folder& folder) const
{
    platform::MainLoop::main().post(
        [callback = callback_.copyTaskStarted, name = folder.name] { callback(name); });
}

// Each folder's report has the updated files up to its own: they share one list.
void SVSCPCopyFromFolders::reportEnds(std::span<const Folder> folders)
{
    std::vector<std::size_t> ends;
    for (const Folder& folder : folders) {
        updated_.insert(updated_.end(), folder.updated.begin(), folder.updated.end());
        ends.push_back(updated_.size());
    }
    const auto updated = std::make_shared<const std::vector<std::string>>(updated_);
    for (std::size_t i = 0; i < folders.size(); ++i) {
        if (i > 0)
            reportStart(folders[i]);
        platform::MainLoop::main().post(
            [callback = callback_.copyTask, name = folders[i].name, fetched = folders[i].fetched, updated,
                end = ends[i]] { callback(name, fetched, std::span(*updated).first(end)); });
    }
}
