#pragma once

#include "platform/files/FolderLock.h"

#include <optional>
#include <string>

// The folder of this session's scratch files. It is made anew, with one empty file "Empty" in it, unless
// another session of the same user works in it: then the two share it. A folder that somebody else has put
// there is not used, and reported.
class ScratchFolder {
public:
    explicit ScratchFolder(const std::string& path);
    bool isUsable() const { return lock_.has_value(); }

private:
    bool share(const std::string& path);

    std::optional<platform::FolderLock> lock_;
};
