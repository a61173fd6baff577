#pragma once

#include "platform/process/Process.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

class KRContainerFolder;

class KRContainerFolderDelegate {
public:
    virtual ~KRContainerFolderDelegate() = default;
    virtual void finishedCompressingFileInside(const std::shared_ptr<KRContainerFolder>&) { }
};

// A folder as a value, which can remove the folder when the last reference goes. One thread at a time, and
// the main thread for unpacking.
class KRContainerFolder : public std::enable_shared_from_this<KRContainerFolder> {
public:
    // Owns a folder that KRContainerFileName::checkOutTemporaryFolder() gave. Null for an empty name.
    static std::shared_ptr<KRContainerFolder> createWithTemporaryFolder(const std::string& name);
    static std::shared_ptr<KRContainerFolder> createWithFolder(
        const std::string& name, bool deleteWhenReleased);
    ~KRContainerFolder();
    KRContainerFolder(const KRContainerFolder&) = delete;
    KRContainerFolder& operator=(const KRContainerFolder&) = delete;

    const std::string& folderName() const { return folderName_; }
    const std::vector<std::string>& entries() const { return contentList_; } // Names inside the folder.
    void addedFileName(const std::string& name) { contentList_.push_back(name); }
    void refreshContent(); // Makes the entries those on disk.
    void deleteFolderOnRelease() { responsibleForRemovingFolder_ = true; }

    // Unpacks an archive of this folder into it, on a process of its own; only names that end in ".zip" are
    // taken. Then the entries are read again and the delegate, which is kept until then, is told. The folder
    // is not kept: without a reference the unpacking ends with it, which is reported and not told. What the
    // archive wants outside of the folder is not written, and its links are removed.
    void uncompressFile(const std::string& name, std::shared_ptr<KRContainerFolderDelegate> delegate);

private:
    struct Pending {
        std::shared_ptr<platform::Process> task;
        std::shared_ptr<KRContainerFolderDelegate> delegate;
    };

    KRContainerFolder(std::string name, bool isTemporary, bool deleteWhenReleased);
    void taskEnded(const std::shared_ptr<platform::Process>& task);

    std::string folderName_;
    bool temporaryFolder_;
    bool responsibleForRemovingFolder_;
    std::vector<std::string> contentList_;
    std::vector<Pending> pendingTasks_;
};
