#pragma once

#include "platform/files/FolderLock.h"

#include <optional>
#include <string>

// The folder for this session's scratch files. It is made anew with one empty file "Empty", unless another
// session of the same user holds it; then both share it. A folder that belongs to another user is reported
// and not used.
class ScratchFolder {
public:
    explicit ScratchFolder(const std::string& path);
    bool isUsable() const { return lock_.has_value(); }

private:
    bool share(const std::string& path);

    std::optional<platform::FolderLock> lock_;
};
