#pragma once

#include "platform/files/Descriptor.h"

#include <string>

namespace platform {

// A lock on a folder, tried once and held as long as this lives; the system lets go of it when the process
// ends, however it ends. Nothing is written for it, and only those who ask for the lock are kept out. Two
// objects are two holders, in one process as well. One thread at a time.
class FolderLock {
public:
    using Kind = LockKind; // Many may share; one who is alone has nobody beside him.
    enum class Links { Followed, Refused }; // Whether the path itself may be a link to the folder.
    explicit FolderLock(const std::string& path, Kind, Links = Links::Followed);

    bool isHeld() const { return state_ == LockAnswer::Held; }
    // Somebody else holds one that shuts this one out. Where neither this nor isHeld() is true there is no
    // such folder, or its file system has no locks.
    bool isTaken() const { return state_ == LockAnswer::Taken; }
    // The folder, as it was opened, is this user's, and nobody else can get into it.
    bool isPrivate() const;
    // The folder, as it was opened, is what lies at the path now.
    bool isAt(const std::string& path) const;

private:
    Descriptor folder_;
    LockAnswer state_ = LockAnswer::Impossible;
};

} // namespace platform
