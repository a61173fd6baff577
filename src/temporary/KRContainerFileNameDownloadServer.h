#pragma once

#include "platform/loop/OperationQueue.h"
#include "temporary/KRContainerFolder.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class KRContainerFileNameDownloadDelegate {
public:
    virtual ~KRContainerFileNameDownloadDelegate() = default;
    // The folder holds the one file of the download; null when the download failed. Main thread.
    virtual void finishedDownloadingFile(
        const std::string& url, const std::shared_ptr<KRContainerFolder>& putInto) = 0;
};

class KRContainerFileNameDownloadServer;

// One running download: it goes straight into a file of a temporary folder. Its fields belong to the worker
// that runs it, and to the main thread once it has ended.
class KRContainerFileNameDownloadServerEntry : public platform::Operation {
public:
    KRContainerFileNameDownloadServerEntry(std::string url,
        std::shared_ptr<KRContainerFileNameDownloadDelegate>, KRContainerFileNameDownloadServer& server);
    ~KRContainerFileNameDownloadServerEntry() override;
    void main() override;

private:
    struct Transfer;
    void finish(); // Main thread.

    std::string theURL_;
    std::shared_ptr<KRContainerFileNameDownloadDelegate> delegate_;
    KRContainerFileNameDownloadServer& server_;
    std::unique_ptr<Transfer> transfer_;
};

// The downloads of this process. An answer with an error status is a failure, and so are an answer that ends
// early, a server that stays silent for a minute, and a full disk. Main thread.
class KRContainerFileNameDownloadServer {
public:
    static KRContainerFileNameDownloadServer& shared();

    // http, https, ftp and file. Folder and delegate are kept until the delegate has been called.
    void download(const std::string& url, std::shared_ptr<KRContainerFileNameDownloadDelegate> delegate);
    std::size_t countOfDownloads() const { return currentDownloads_.size(); }

private:
    friend class KRContainerFileNameDownloadServerEntry;
    void ended(const KRContainerFileNameDownloadServerEntry& entry);

    std::vector<std::shared_ptr<KRContainerFileNameDownloadServerEntry>> currentDownloads_;
    platform::OperationQueue queue_;
};
