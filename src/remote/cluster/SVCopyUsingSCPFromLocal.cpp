#include "remote/cluster/SVCopyUsingSCPFromLocal.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/ProcessInfo.h"
#include "platform/files/Paths.h"

#include <fmt/format.h>

#include <vector>

namespace {

using platform::Value;
using platform::paths::deletingLastComponent;

constexpr auto kBetweenReports = std::chrono::milliseconds(200);
constexpr double kWhole = 100;

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
        error_ = access_->authenticateFTP(sftp);
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
    for (std::size_t done = 0; done < list.size() && !isCancelled(); ++done) {
        if (!list[done].textFor(kAction))
            continue;
        const Outcome outcome = carryOut(sftp, list[done]);
        if (outcome == Outcome::StopTheList)
            return;
        if (outcome == Outcome::Done)
            reportProgress(done + 1, list.size());
    }
    everythingCopied_ = everythingCopied_ && !isCancelled();
}

SVCopyUsingSCPFromLocal::Outcome SVCopyUsingSCPFromLocal::carryOut(ssh::CkoSFtp& sftp, const Value& action)
{
    const std::string kind = *action.textFor(kAction);
    Outcome outcome = Outcome::Done;
    if (kind == kCreateDirectory) {
        outcome = createDirectory(sftp, action.textFor(kDirectory).value_or(""));
    } else if (kind == kCopyFromLocal) {
        outcome = copyFromLocal(sftp, action);
    } else if (kind == kCreateFromData) {
        outcome = createFromData(sftp, action);
    }
    if (outcome != Outcome::Done)
        return outcome;
    if (const Value* access = action.find(kAccess); access && access->integer())
        sftp.SetPermissions(
            action.textFor(kFileName).value_or(""), false, static_cast<int>(*access->integer()));
    if (!ok_)
        everythingCopied_ = false;
    return Outcome::Done;
}

SVCopyUsingSCPFromLocal::Outcome SVCopyUsingSCPFromLocal::stop(std::string words)
{
    everythingCopied_ = false;
    error_ = std::move(words);
    return Outcome::StopTheList;
}

SVCopyUsingSCPFromLocal::Outcome SVCopyUsingSCPFromLocal::createDirectory(
    ssh::CkoSFtp& sftp, const std::string& path)
{
    if (sftp.GetFileCreateTime(path, false, false) || sftp.CreateDir(path))
        return Outcome::Done;
    std::vector<std::string> missing; // From the lowest up.
    std::string parent = deletingLastComponent(path);
    while (!parent.empty() && !sftp.CreateDir(parent)) {
        missing.push_back(parent);
        const std::string above = deletingLastComponent(parent);
        parent = above == parent ? std::string() : above; // The root is its own parent.
    }
    if (parent.empty() && !missing.empty())
        return stop("Did not find the home directory.");
    while (!missing.empty() && sftp.CreateDir(missing.back()))
        missing.pop_back();
    return sftp.CreateDir(path) ? Outcome::Done : stop("Directory could not be created.");
}

SVCopyUsingSCPFromLocal::Outcome SVCopyUsingSCPFromLocal::copyFromLocal(
    ssh::CkoSFtp& sftp, const Value& action)
{
    const std::string from = action.textFor(kFrom).value_or("");
    ok_ = sftp.UploadFileByName(action.textFor(kTo).value_or(""), from);
    if (ok_)
        return Outcome::Done;
    const std::string reason = sftp.LastErrorText();
    if (!isAlive(sftp))
        return stop(fmt::format("Could not connect to {}", access_->hostName()));
    KRMessageCenter::addMessage("Could not upload a file.", fmt::format("{}: {}", from, reason));
    return Outcome::Done;
}

SVCopyUsingSCPFromLocal::Outcome SVCopyUsingSCPFromLocal::createFromData(
    ssh::CkoSFtp& sftp, const Value& action)
{
    const auto handle = sftp.OpenFile(action.textFor(kFileName).value_or(""), "writeOnly", "createTruncate");
    if (!handle) {
        if (!isAlive(sftp))
            return stop(fmt::format("Could not connect to {}", access_->hostName()));
        everythingCopied_ = false;
        return Outcome::DoneWithoutProgress;
    }
    const Value* data = action.find(kData);
    const Value::Data* bytes = data ? data->data() : nullptr;
    ok_ = sftp.WriteFileBytes(
        *handle, bytes ? std::span<const std::uint8_t>(*bytes) : std::span<const std::uint8_t>());
    sftp.CloseHandle(*handle);
    return Outcome::Done;
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
