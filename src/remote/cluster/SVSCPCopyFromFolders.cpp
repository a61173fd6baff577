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
        error_ = access_->authenticateFTP(sftp);
        if (!error_)
            for (const std::string& folder : fileList_)
                if (!isCancelled())
                    copyFolder(sftp, folder);
    }
    callBack(callback_.copyFromFoldersFinished);
}

void SVSCPCopyFromFolders::complain(std::string sentence)
{
    if (complaints_.size() < kMostComplaints)
        complaints_.push_back(std::move(sentence));
}

SVSCPCopyFromFolders::Folder SVSCPCopyFromFolders::look(ssh::CkoSFtp& sftp, const std::string& name)
{
    Folder folder{appending(workDirectory_, name), appending(localDirectory_, name), {}, {}};
    const auto handle = sftp.OpenDir(folder.remote);
    const auto listing = sftp.ReadDir(handle);
    if (handle)
        sftp.CloseHandle(*handle);
    for (int i = 0; listing && i < listing->NumFilesAndDirs(); ++i) {
        const auto file = listing->GetFileObject(i);
        const std::string entry = file->Filename();
        if (entry.empty() || entry.front() == '.' || file->IsDirectory())
            continue;
        if (!files::isValidUtf8(entry)) {
            complain(fmt::format("{} holds a file whose name is no UTF-8; it isn't brought.", folder.remote));
            continue;
        }
        (files::exists(appending(folder.local, entry)) ? folder.existing : folder.fresh)
            .push_back({entry, file->Size64()});
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

void SVSCPCopyFromFolders::copyFolder(ssh::CkoSFtp& sftp, const std::string& name)
{
    Folder folder = look(sftp, name);
    if (!folder.isActive)
        return;
    auto& loop = platform::MainLoop::main();
    loop.post([callback = callback_.copyTaskStarted, name] { callback(name); });
    update(sftp, folder);
    auto fetched = fetch(sftp, folder);
    loop.post([callback = callback_.copyTask, name, fetched = std::move(fetched), updated = updated_] {
        callback(name, fetched, updated);
    });
}

void SVSCPCopyFromFolders::update(ssh::CkoSFtp& sftp, Folder& folder)
{
    for (const RemoteFile& file : folder.existing) {
        const std::string remote = appending(folder.remote, file.name);
        const std::string local = appending(folder.local, file.name);
        std::int64_t size = file.size;
        // A network file system's listing may tell an old size, which nobody would look at again.
        if (folder.isCompleted || size < 0)
            if (const auto handle = sftp.OpenFile(remote, "readOnly", "openExisting")) {
                size = sftp.GetFileSize64(*handle, true, true);
                sftp.CloseHandle(*handle);
            }
        const std::int64_t before = localSize(local);
        if (before >= size)
            continue;
        if (!sftp.ResumeDownloadFileByName(remote, local)) {
            folder.everythingArrived = false;
            complain(fmt::format("{}: {}", remote, sftp.LastErrorText()));
            continue;
        }
        updated_.push_back(local);
        bytesCopiedOver_ += localSize(local) - before;
    }
}

bool SVSCPCopyFromFolders::download(ssh::CkoSFtp& sftp, const Folder& folder, const std::string& name)
{
    const std::string local = appending(folder.local, name);
    if (!sftp.DownloadFileByName(appending(folder.remote, name), local)) {
        complain(fmt::format("{}: {}", appending(folder.remote, name), sftp.LastErrorText()));
        return false;
    }
    bytesCopiedOver_ += localSize(local);
    return true;
}

std::vector<std::string> SVSCPCopyFromFolders::fetch(ssh::CkoSFtp& sftp, Folder& folder)
{
    std::vector<std::string> fetched;
    for (const RemoteFile& file : folder.fresh) {
        if (file.name == jobscripts::kRunCompleted)
            continue;
        if (download(sftp, folder, file.name))
            fetched.push_back(file.name);
        else
            folder.everythingArrived = false;
    }
    if (!folder.isCompleted || !folder.everythingArrived)
        return fetched;
    // The mark's presence here proves that all else of the run has arrived.
    if (const auto status = flushFolder(folder.local); !status.ok())
        complain(status.error().text);
    else if (download(sftp, folder, jobscripts::kRunCompleted))
        fetched.push_back(jobscripts::kRunCompleted);
    return fetched;
}
