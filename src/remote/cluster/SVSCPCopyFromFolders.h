#pragma once

#include "remote/cluster/ClusterOperation.h"

#include <cstdint>
#include <set>
#include <span>
#include <string>
#include <vector>

// One pass of downloads: brings what has appeared or grown in the folders of the runs that have begun. The
// file that marks the end of a run comes last, and only when everything else of the run is here and on disk.
// Folders with little to bring are copied together, so that the time of a round trip is spent once for them.
class SVSCPCopyFromFolders : public ClusterOperation {
public:
    // Called on the main thread, in order.
    struct Callback {
        std::function<void(const std::string& folder)> copyTaskStarted;
        // The new files by their names; the updated ones by their paths, of the whole pass so far.
        std::function<void(const std::string& folder, const std::vector<std::string>& newFiles,
            std::span<const std::string> updatedFiles)>
            copyTask;
        std::function<void(SVSCPCopyFromFolders&)> copyFromFoldersFinished;
    };

    // The folders are below the remote and the local folder. Excluded names are never fetched anew, but
    // those that exist here already are kept up to date.
    SVSCPCopyFromFolders(SVSSHPasswordInfo::Pointer initWithInfo, std::vector<std::string> files,
        std::string directory, std::string localDirectory, std::set<std::string> exclude, Callback callback)
        : ClusterOperation(std::move(initWithInfo)), fileList_(std::move(files)),
          excludeFiles_(std::move(exclude)), workDirectory_(std::move(directory)),
          localDirectory_(std::move(localDirectory)), callback_(std::move(callback))
    { }
    void main() override;

    std::int64_t bytesCopiedOver() const { return bytesCopiedOver_; }
    // Sentences about what could not be brought, after the operation has ended.
    const std::vector<std::string>& complaints() const { return complaints_; }

private:
    struct RemoteFile {
        std::string name;
        std::int64_t size; // Negative when it is unknown.
        bool isLink;
    };
    struct Folder {
        std::string name;
        std::string remote;
        std::string local;
        std::vector<RemoteFile> existing; // Here already.
        std::vector<RemoteFile> fresh;
        bool isActive = false; // The run has begun.
        bool isCompleted = false; // The mark of its end is among the fresh files.
        bool everythingArrived = true;
        std::vector<std::string> fetched;
        std::vector<std::string> updated;
    };
    // A file on its way here.
    struct Transfer {
        Folder* folder;
        std::string name;
        std::int64_t before; // Bytes of the local file; negative for a fresh one.
        ssh::CkoDownload download;
    };
    void copyFolders(ssh::CkoSFtp& sftp, std::span<const std::string> names);
    Folder look(const std::string& name, const ssh::CkoSFtpDir* listing);
    void askForSizes(ssh::CkoSFtp& sftp, std::vector<Folder>& folders);
    std::vector<Transfer> transfersOf(Folder& folder);
    void copy(ssh::CkoSFtp& sftp, std::span<Folder> folders);
    void carryOut(ssh::CkoSFtp& sftp, const std::vector<Transfer>& transfers);
    void fetchMarks(ssh::CkoSFtp& sftp, std::span<Folder> folders);
    void keepMarks(const std::vector<Transfer>& marks);
    void reportStart(const Folder& folder) const;
    void reportEnds(std::span<const Folder> folders);
    void complain(std::string sentence);

    const std::vector<std::string> fileList_;
    const std::set<std::string> excludeFiles_;
    const std::string workDirectory_;
    const std::string localDirectory_;
    const Callback callback_;
    std::int64_t bytesCopiedOver_ = 0;
    std::vector<std::string> updated_; // In all folders so far.
    std::vector<std::string> complaints_;
};
