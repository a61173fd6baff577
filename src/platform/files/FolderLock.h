#pragma once

#include "platform/files/Descriptor.h"

#include <string>

namespace platform {

// An advisory lock on a folder. The constructor tries once; the lock is held until the object is destroyed or
// the process ends, by a crash as well. No file is written. Two objects in one process are two holders. One
// thread at a time.
class FolderLock {
public:
    using Kind = LockKind; // Shared locks exclude only an exclusive one.
    enum class Links { Followed, Refused }; // Whether the path itself may be a link to the folder.
    explicit FolderLock(const std::string& path, Kind, Links = Links::Followed);

    bool isHeld() const { return state_ == LockAnswer::Held; }
    // Another holder excludes this lock. When neither this nor isHeld() is true, there is no such folder, or
    // its file system has no locks.
    bool isTaken() const { return state_ == LockAnswer::Taken; }
    // The opened folder belongs to this user, and no other user can enter it.
    bool isPrivate() const;
    // The path still names the opened folder.
    bool isAt(const std::string& path) const;

private:
    Descriptor folder_;
    LockAnswer state_ = LockAnswer::Impossible;
};

} // namespace platform
