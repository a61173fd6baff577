#pragma once

#include "platform/loop/MainLoop.h"
#include "platform/loop/NotificationCenter.h"
#include "temporary/InstanceDirectory.h"

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

// Temporary files and folders of this process, all below one directory that goes with the process. Names that
// are handed back are used again, the oldest first. Any thread, unless a remark says otherwise.
//
// Locks: directoryLock_ and conversionLock_ are each taken alone, and no message is added under them.
class TemporaryFiles {
public:
    // The one of this process. Never destroyed: values may be released until the process has ended.
    static TemporaryFiles& shared();

    explicit TemporaryFiles(temporary::Clock clock = temporary::systemTime); // Main thread.
    ~TemporaryFiles();

    // The process's directory. The first call makes it, removes what dead processes left behind, and starts
    // the heartbeat; a call on another thread waits for that.
    std::string directory();
    bool hasDirectory() const;

    // Makes the folders of the names, empty, once. Must come before the first name is checked out.
    void initialize();

    // A path for a file, which isn't created. Nothing before initialize().
    std::optional<std::string> checkOutFile();
    // Removes the file and frees the name; an extension that was added to the name is passed over. False for
    // a name that isn't in use. A file that can't be removed is reported, and its name never used again. The
    // files with the additional endings stay until the whole directory goes.
    bool handBackFile(const std::string& name, const std::vector<std::string>& additionalEndings);
    // A new empty folder. Nothing where none can be made, which is reported.
    std::optional<std::string> checkOutFolder();
    void handBackFolder(const std::string& name);

    void heartBeat(); // Main thread.
    // Removes the whole directory: the process is about to end. Main thread.
    void appWillTerminate();

private:
    // The names "<prefix><number>" in a folder.
    class Names {
    public:
        Names(std::string folder, char prefix) : folder_(std::move(folder)), prefix_(prefix) { }
        std::string checkOut();
        std::string checkOutNew();
        bool isOutstanding(const std::string& name) const { return outstanding_.contains(name); }
        void free(const std::string& name);
        void forget(const std::string& name); // It is never handed out again.
        const std::string& folder() const { return folder_; }

    private:
        std::string folder_;
        char prefix_;
        int next_ = 0;
        std::set<std::string> outstanding_;
        std::deque<std::string> possible_;
    };

    void startHeartbeat();

    temporary::Clock clock_;
    mutable std::mutex directoryLock_;
    std::condition_variable directoryMade_;
    std::unique_ptr<temporary::InstanceDirectory> directory_;
    std::thread::id maker_; // The thread that makes the directory.
    bool isMade_ = false;
    std::unique_ptr<platform::Timer> heartbeat_; // Main thread.
    std::shared_ptr<const bool> life_ = std::make_shared<bool>(true); // Ends with the object.
    std::unique_ptr<platform::NotificationCenter::Observation> termination_; // Main thread.

    std::mutex conversionLock_;
    std::optional<Names> files_;
    std::optional<Names> folders_;
};
