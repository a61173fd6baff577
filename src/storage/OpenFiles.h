#pragma once

#include <atomic>
#include <mutex>
#include <vector>

class KRDataFile;

// Holds the number of open data files of the process below 191: a process has few descriptors, and a closed
// file opens again by itself when it is needed. It works once keepTrack() was called; until then files are
// only counted. Any thread.
//
// A file that is in use is left alone: its lock is only tried. Locks: a file's lock before this one's.
class OpenFiles {
public:
    static OpenFiles& shared();

    void keepTrack();
    void add(KRDataFile& file); // A new file, which must be removed before it goes.
    void remove(KRDataFile& file); // The file's own lock isn't held.
    // `file` has just opened its stream and holds its lock.
    void opened(KRDataFile& file);
    void closed() { --howManyOpenFiles_; }
    int howManyOpenFiles() const { return howManyOpenFiles_; }

private:
    void enforceOpenCap(const KRDataFile& except);
    void closeOlderThan(double age, double now, const KRDataFile& except);

    std::mutex lock_; // Of the list.
    std::vector<KRDataFile*> files_;
    bool keepsTrack_ = false;
    std::atomic<int> howManyOpenFiles_ = 0;
};
