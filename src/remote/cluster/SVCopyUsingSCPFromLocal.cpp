#include "remote/cluster/SVCopyUsingSCPFromLocal.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/ProcessInfo.h"
#include "platform/files/Paths.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace {

using platform::Value;
using platform::paths::deletingLastComponent;

constexpr auto kBetweenReports = std::chrono::milliseconds(200);
constexpr double kWhole = 100;
constexpr std::size_t kActionsAtOnce = 10000; // Whose folders are made ahead.

// Keys of an action.
constexpr const char* kAction = "Action";
constexpr const char* kDirectory = "Directory";
constexpr const char* kFrom = "From";
constexpr const char* kTo = "To";
constexpr const char* kData = "Data";
constexpr const char* kFileName = "File Name";
constexpr const char* kAccess = "Access";
// Kinds of action.
constexpr const char* kCreateDirectory = "Create Directory";
constexpr const char* kCopyFromLocal = "Copy From Local";
constexpr const char* kCreateFromData = "Create From Data";

bool isFolder(const Value& action)
{
    return action.textFor(kAction) == kCreateDirectory;
}

// Makes the folders of a part of the list. Whether each action there has its folder.
std::vector<bool> makeFolders(
    ssh::CkoSFtp& sftp, const Value::Array& list, std::size_t first, std::size_t end)
{
    std::vector<std::string> paths;
    for (std::size_t i = first; i < end; ++i)
        if (isFolder(list[i]))
            paths.push_back(list[i].textFor(kDirectory).value_or(""));
    const std::vector<bool> exist = sftp.CreateDirs(paths);
    std::vector<bool> answers(end - first, true);
    auto answer = exist.begin();
    for (std::size_t i = first; i < end; ++i)
        if (isFolder(list[i]))
            answers[i - first] = *answer++;
    return answers;
}

// Whether the connection still answers.
bool isAlive(ssh::CkoSFtp& sftp)
{
    return sftp.GetFilePermissions(".", true, false) >= 0;
}

} // namespace

Value clusteraction::createDirectory(std::string path)
{
    return Value::Dictionary{{kAction, kCreateDirectory}, {kDirectory, std::move(path)}};
}

Value clusteraction::copyFromLocal(std::string from, std::string to)
{
    return Value::Dictionary{{kAction, kCopyFromLocal}, {kFrom, std::move(from)}, {kTo, std::move(to)}};
}

Value clusteraction::createFromData(std::string_view data, std::string fileName, std::optional<int> access)
{
    Value::Dictionary action{{kAction, kCreateFromData}, {kData, Value::Data(data.begin(), data.end())},
        {kFileName, std::move(fileName)}};
    if (access)
        action[kAccess] = *access;
    return action;
}

void SVCopyUsingSCPFromLocal::main()
{
    {
        ssh::CkoSFtp sftp;
        lastReport_ = std::chrono::steady_clock::now();
        error_ = authenticateFTP(sftp);
        if (!error_) {
            carryOut(sftp, files_());
            if (lastPercentage_ != kWhole)
                postProgress(kWhole);
            sftp.Disconnect();
        }
    }
    callBack(callback_);
}

void SVCopyUsingSCPFromLocal::carryOut(ssh::CkoSFtp& sftp, const Value::Array& list)
{
    everythingCopied_ = true;
    bool goesOn = true;
    for (std::size_t first = 0; first < list.size() && goesOn; first += kActionsAtOnce)
        goesOn = isCancelled() ? stop(sftp, "The upload was cancelled.")
                               : carryOut(sftp, list, first, std::min(first + kActionsAtOnce, list.size()));
}

bool SVCopyUsingSCPFromLocal::carryOut(
    ssh::CkoSFtp& sftp, const Value::Array& list, std::size_t first, std::size_t end)
{
    std::vector<bool> exists = makeFolders(sftp, list, first, end);
    for (std::size_t i = first; i < end; ++i) {
        const bool isMissingFolder = isFolder(list[i]) && !exists[i - first];
        if (!carryOut(sftp, list, i, !isMissingFolder))
            return false;
        if (isMissingFolder) // Others may have waited for it.
            exists = makeFolders(sftp, list, first, end);
    }
    return uploadWaiting(sftp, list.size());
}

bool SVCopyUsingSCPFromLocal::carryOut(
    ssh::CkoSFtp& sftp, const Value::Array& list, std::size_t index, bool folderExists)
{
    const Value& action = list[index];
    const auto kind = action.textFor(kAction);
    if (!kind)
        return true;
    const bool isLocalFile = kind == kCopyFromLocal;
    const Value* access = action.find(kAccess);
    const auto stored = access ? access->integer() : std::nullopt;
    const std::optional<int> permissions = stored ? std::optional(static_cast<int>(*stored)) : std::nullopt;
    if (isLocalFile || kind == kCreateFromData) {
        Waiting file{index, {}, isLocalFile};
        file.upload.remotePath = action.textFor(isLocalFile ? kTo : kFileName).value_or("");
        if (isLocalFile)
            file.upload.localPath = action.textFor(kFrom).value_or("");
        else if (const Value* data = action.find(kData); data && data->data())
            file.upload.data = *data->data();
        if (!isLocalFile) {
            file.upload.permissions = permissions;
            // The server of a connection that broke may still have a script open, which then can't be run.
            file.upload.isMadeAnew = permissions.has_value();
        }
        // Two files of one name must not be written at the same time.
        if (waitingNames_.contains(file.upload.remotePath) && !uploadWaiting(sftp, list.size()))
            return false;
        waitingNames_.insert(file.upload.remotePath);
        waiting_.push_back(std::move(file));
        if (!isLocalFile || !permissions)
            return true;
    }
    // What is left is done in its turn: folders that aren't there yet, permissions of another file than the
    // action's own, and actions of other kinds, which count as the one before them.
    if (!(kind == kCreateDirectory && folderExists && !permissions) && !uploadWaiting(sftp, list.size()))
        return false;
    if (kind == kCreateDirectory && !folderExists
        && !createDirectory(sftp, action.textFor(kDirectory).value_or("")))
        return false;
    if (permissions)
        sftp.SetPermissions(action.textFor(kFileName).value_or(""), false, *permissions);
    if (!isLocalFile)
        actionIsDone(index, list.size());
    return true;
}

void SVCopyUsingSCPFromLocal::actionIsDone(std::size_t index, std::size_t total)
{
    if (!ok_)
        everythingCopied_ = false;
    reportProgress(index + 1, total);
}

bool SVCopyUsingSCPFromLocal::uploadWaiting(ssh::CkoSFtp& sftp, std::size_t total)
{
    const auto files = std::exchange(waiting_, {});
    waitingNames_.clear();
    std::vector<ssh::CkoUpload> uploads;
    for (const Waiting& file : files)
        uploads.push_back(file.upload);
    const auto transfers = sftp.UploadFiles(
        uploads, [&](std::size_t done) { reportProgress(files[done - 1].action + 1, total); });
    for (std::size_t i = 0; i < files.size(); ++i)
        if (!take(sftp, files[i], transfers[i], total))
            return false;
    return true;
}

bool SVCopyUsingSCPFromLocal::take(
    ssh::CkoSFtp& sftp, const Waiting& file, const ssh::CkoTransfer& transfer, std::size_t total)
{
    if (!transfer.ok() && !isAlive(sftp))
        return stop(sftp, "");
    if (!file.isLocalFile && !transfer.opened) {
        everythingCopied_ = false; // Without a step of the progress.
        return true;
    }
    ok_ = transfer.ok();
    if (!ok_)
        KRMessageCenter::addMessage("Could not upload a file.",
            fmt::format("{}: {}", file.upload.localPath.value_or(file.upload.remotePath), transfer.error));
    actionIsDone(file.action, total);
    return true;
}

// A connection that has broken is the reason for whatever has failed on it.
bool SVCopyUsingSCPFromLocal::stop(ssh::CkoSFtp& sftp, const char* words)
{
    everythingCopied_ = false;
    error_ = isAlive(sftp) ? words : fmt::format("Could not connect to {}", access_->hostName());
    return false;
}

bool SVCopyUsingSCPFromLocal::createDirectory(ssh::CkoSFtp& sftp, const std::string& path)
{
    if (sftp.GetFileCreateTime(path, false, false) || sftp.CreateDir(path))
        return true;
    std::vector<std::string> missing; // From the lowest up.
    std::string parent = deletingLastComponent(path);
    while (!parent.empty() && !sftp.CreateDir(parent)) {
        missing.push_back(parent);
        const std::string above = deletingLastComponent(parent);
        parent = above == parent ? std::string() : above; // The root is its own parent.
    }
    // Another operation may have made the parents meanwhile, which is why none could be made here.
    if (parent.empty() && !missing.empty())
        return sftp.CreateDir(path) || stop(sftp, "Did not find the home directory.");
    while (!missing.empty() && sftp.CreateDir(missing.back()))
        missing.pop_back();
    return sftp.CreateDir(path) || stop(sftp, "Directory could not be created.");
}

void SVCopyUsingSCPFromLocal::reportProgress(std::size_t done, std::size_t total)
{
    const auto now = std::chrono::steady_clock::now();
    if (!progress_ || now - lastReport_ <= kBetweenReports)
        return;
    postProgress(static_cast<double>(done) / static_cast<double>(total) * kWhole);
    lastReport_ = now;
}

void SVCopyUsingSCPFromLocal::postProgress(double percentage)
{
    if (progress_)
        platform::MainLoop::main().post(
            [progress = progress_, growth = percentage - lastPercentage_] { progress(growth); });
    lastPercentage_ = percentage;
}
