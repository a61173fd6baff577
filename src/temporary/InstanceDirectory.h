#pragma once

#include <functional>
#include <string>
#include <vector>

namespace temporary {

// The seam for the time of day, in seconds since 1970.
using Clock = std::function<double()>;
double systemTime();

// The directory that one running instance of the program has to itself, below a parent that all instances of
// one account share. The file "beat" in it tells when its owner was last seen. A directory goes only after
// two starts of the program, 36 hours or more apart, found its beat old: the first leaves a mark in it, which
// a living owner wipes out at its next heartbeat. A removal that was interrupted is finished by the next
// start. Nothing is reported when the disk doesn't take what is written: the first file in the directory
// shows that.
//
// Instances share nothing else, and need no lock: marks are only written over, and to remove what has gone is
// no failure. One thread at a time.
class InstanceDirectory {
public:
    static constexpr double kHeartbeatInterval = 21600; // Seconds.
    static constexpr double kStalenessLimit = 129600; // Seconds.

    // Makes the parent and the directory, which only the owner can enter, but removes nothing yet.
    InstanceDirectory(std::string parent, Clock clock);

    const std::string& path() const { return path_; }
    std::string filesFolder() const; // Holds the temporary files.
    std::string foldersFolder() const; // Holds the temporary folders.

    // Looks after the directories that stood beside this one when it was made, then beats for the first time.
    void sweepOthers();
    // Tells the others that this instance is alive.
    void heartBeat() const;

private:
    bool isCondemned(const std::string& directory) const;

    std::string parent_;
    std::string path_;
    std::vector<std::string> others_; // Paths.
    Clock clock_;
};

// Removes a directory of an instance. Whatever interrupts it, the next start goes on with the removal.
void deleteDirectory(const std::string& directory);

} // namespace temporary
