#include "task/application/ScratchFolder.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/files/FileManager.h"

#include <chrono>
#include <thread>
#include <tuple>

namespace {

namespace files = platform::files;
using platform::FolderLock;

// Sessions that start at the same moment may take the folder from each other several times.
constexpr int kMostStarts = 20;
constexpr auto kWaitBetweenStarts = std::chrono::milliseconds(5);

} // namespace

ScratchFolder::ScratchFolder(const std::string& path)
{
    for (int attempt = 0; attempt < kMostStarts; ++attempt) {
        const FolderLock alone(path, FolderLock::Kind::Exclusive, FolderLock::Links::Refused);
        if (alone.isTaken() && alone.isPrivate()) {
            if (share(path))
                return;
        } else if (alone.isHeld() && !alone.isAt(path)) {
            // Another session has just replaced the folder; this lock is on the old one.
        } else {
            std::ignore = files::remove(path);
            if (files::createDirectory(path, files::kOwnersFolder)) {
                std::ignore = files::writeFile(path + "/Empty", "");
                if (share(path))
                    return;
            } else if (!files::exists(path)) {
                return;
            }
        }
        std::this_thread::sleep_for(kWaitBetweenStarts);
    }
    KRMessageCenter::addMessage("The scratch folder can not be used.",
        path + " belongs to somebody else, or can't be made. Remove it, or ask its owner to.");
}

bool ScratchFolder::share(const std::string& path)
{
    lock_.emplace(path, FolderLock::Kind::Shared, FolderLock::Links::Refused);
    if (!lock_->isTaken() && lock_->isPrivate() && lock_->isAt(path))
        return true; // Also on a file system without locks.
    lock_.reset();
    return false;
}
