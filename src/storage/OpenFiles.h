#pragma once

#include <atomic>
#include <mutex>
#include <vector>

// A file that may be closed when it isn't in use.
class ClosableFile {
public:
    virtual ~ClosableFile() = default;
    virtual bool fileIsOpen() const = 0;
    virtual double lastFileAccess() const = 0; // By OpenFiles::now().
    // Does nothing when the file is younger or its lock is taken.
    virtual void closeIfUnusedFor(double age, double now) = 0;
};

// Holds the number of open data files of the process below 191: a process has few descriptors, and a closed
// file opens again by itself when it is needed. It works once keepTrack() was called; until then files are
// only counted. Any thread.
//
// A file that is in use is left alone: its lock is only tried. Locks: a file's lock before this one's.
class OpenFiles {
public:
    static OpenFiles& shared();
    static double now(); // Seconds, monotonic.

    void keepTrack();
    void add(ClosableFile& file); // A new file, which must be removed before it goes.
    void remove(ClosableFile& file); // The file's own lock isn't held.
    // `file` has just opened its stream and holds its lock.
    void opened(ClosableFile& file);
    void closed() { --howManyOpenFiles_; }
    int howManyOpenFiles() const { return howManyOpenFiles_; }

private:
    void enforceOpenCap(const ClosableFile& except);
    void closeOlderThan(double age, double time, const ClosableFile& except);

    std::mutex lock_; // Of the list.
    std::vector<ClosableFile*> files_;
    bool keepsTrack_ = false;
    std::atomic<int> howManyOpenFiles_ = 0;
};
