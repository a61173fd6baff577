#pragma once

#include "platform/loop/OperationQueue.h"
#include "temporary/KRContainerFolder.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
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

// One running download: it goes straight into a file of a temporary folder. What it tells may be asked from
// any thread.
class KRContainerFileNameDownloadServerEntry : public platform::Operation {
public:
    KRContainerFileNameDownloadServerEntry(std::string url,
        std::shared_ptr<KRContainerFileNameDownloadDelegate>, KRContainerFileNameDownloadServer& server);
    ~KRContainerFileNameDownloadServerEntry() override;
    void main() override;

    const std::string& theURL() const { return theURL_; }
    // All of it is empty, and the length unknown, until the server has answered.
    std::string fileName() const { return answer().fileName; }
    std::string mimeType() const { return answer().mimeType; } // Empty when the server tells none.
    std::int64_t howLong() const { return answer().howLong; } // Bytes; -1 when the server doesn't tell.
    std::uint64_t howManyRead() const { return howManyRead_; } // Bytes that are in the file.

private:
    struct Transfer; // Belongs to the worker, and to the main thread once it has ended.
    struct Answer {
        std::string fileName;
        std::string mimeType;
        std::int64_t howLong = -1;
    };
    void answered(Answer answer);
    Answer answer() const;
    void finish(); // Main thread.

    std::string theURL_;
    std::shared_ptr<KRContainerFileNameDownloadDelegate> delegate_;
    KRContainerFileNameDownloadServer& server_;
    std::unique_ptr<Transfer> transfer_;
    mutable std::mutex answerLock_;
    Answer answer_;
    std::atomic<std::uint64_t> howManyRead_ = 0;
};

// The downloads of this process. An answer with an error status is a failure, and so are an answer that ends
// early, a server that stays silent for a minute, and a full disk. Main thread.
class KRContainerFileNameDownloadServer {
public:
    static KRContainerFileNameDownloadServer& shared();

    // http, https, ftp and file. Folder and delegate are kept until the delegate has been called.
    void download(const std::string& url, std::shared_ptr<KRContainerFileNameDownloadDelegate> delegate);
    // Those that run or wait for their turn.
    const std::vector<std::shared_ptr<KRContainerFileNameDownloadServerEntry>>& currentDownloads() const
    {
        return currentDownloads_;
    }

private:
    friend class KRContainerFileNameDownloadServerEntry;
    void ended(const KRContainerFileNameDownloadServerEntry& entry);

    std::vector<std::shared_ptr<KRContainerFileNameDownloadServerEntry>> currentDownloads_;
    platform::OperationQueue queue_;
};
