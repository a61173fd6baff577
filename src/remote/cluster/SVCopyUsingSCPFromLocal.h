#pragma once

#include "platform/plist/Value.h"
#include "remote/cluster/ClusterOperation.h"

#include <chrono>
#include <set>
#include <vector>

// The entries of an action list.
namespace clusteraction {

platform::Value createDirectory(std::string path); // With missing parents.
platform::Value copyFromLocal(std::string from, std::string to);
// Replaces what is there, and sets the permission bits where they are given.
platform::Value createFromData(
    std::string_view data, std::string fileName, std::optional<int> access = std::nullopt);

} // namespace clusteraction

// Carries out an action list over SFTP. A failed file doesn't stop the list and leaves no error; a folder
// that can't be made does both. Requests that needn't wait for each other go out together: folders are made
// ahead, files go into folders that are sure to exist, and results are taken in the order of the list.
class SVCopyUsingSCPFromLocal : public ClusterOperation {
public:
    using Callback = std::function<void(SVCopyUsingSCPFromLocal&)>;
    // Gets what is to be added to a progress bar from 0 to 100. Called on the main thread.
    using Progress = std::function<void(double)>;
    // The list is made on the operation's thread, when the operation begins.
    using List = std::function<platform::Value::Array()>;

    SVCopyUsingSCPFromLocal(
        List createWithList, SVSSHPasswordInfo::Pointer access, Progress progress, Callback callback)
        : ClusterOperation(std::move(access)), files_(std::move(createWithList)),
          progress_(std::move(progress)), callback_(std::move(callback))
    { }
    void main() override;

    bool success() const { return everythingCopied_; }
    std::string taskName() const { return "Nothing"; }

private:
    using Array = platform::Value::Array;
    // A file that waits to be uploaded together with others.
    struct Waiting {
        std::size_t action;
        ssh::CkoUpload upload;
        bool isLocalFile;
    };
    void carryOut(ssh::CkoSFtp& sftp, const Array& list);
    bool carryOut(ssh::CkoSFtp& sftp, const Array& list, std::size_t first, std::size_t end);
    // These answer whether the list goes on.
    bool carryOut(ssh::CkoSFtp& sftp, const Array& list, std::size_t index, bool folderExists);
    bool createDirectory(ssh::CkoSFtp& sftp, const std::string& path);
    bool uploadWaiting(ssh::CkoSFtp& sftp, std::size_t total);
    bool take(ssh::CkoSFtp& sftp, const Waiting& file, const ssh::CkoTransfer& transfer, std::size_t total);
    bool stop(ssh::CkoSFtp& sftp, const char* words);
    void actionIsDone(std::size_t index, std::size_t total);
    void reportProgress(std::size_t done, std::size_t total);
    void postProgress(double percentage);

    const List files_;
    const Progress progress_;
    const Callback callback_;
    bool everythingCopied_ = false;
    bool ok_ = true; // The result of the last transfer; an action without one leaves it.
    std::vector<Waiting> waiting_; // Of different remote names.
    std::set<std::string> waitingNames_;
    double lastPercentage_ = 0;
    std::chrono::steady_clock::time_point lastReport_;
};
