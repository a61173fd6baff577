#pragma once

#include "platform/files/Descriptor.h"

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <sys/types.h>

// Hands out what a growing file holds beyond what was handed out before. A file that was replaced or cut
// begins anew. One thread at a time.
class GrowingFile {
public:
    explicit GrowingFile(std::string path) : path_(std::move(path)) { }

    enum class Read {
        Everything, // All that there is now.
        Some, // There may be more: the bound was reached.
        Refused, // The taker answered false.
    };
    static constexpr int kBlockSize = 262144; // Bytes.
    // Hands out at most so many blocks of kBlockSize, so that a reader of a fast writer's file can do
    // something else in between. The bytes are valid during the call of take() alone.
    Read readNew(const std::function<bool(std::string_view)>& take, int mostBlocks);

    // How often the file was found cut or replaced, and was read from its start again. Already counted when
    // take() gets the first bytes.
    int timesStartedAnew() const { return timesStartedAnew_; }
    // Gives back the descriptor. The next reading goes on from the same place.
    void close() { file_.reset(); }

    bool exists() const { return static_cast<bool>(file_); } // As of the last reading.

private:
    void reopenIfReplaced();
    bool isSame(const struct stat& now) const;
    bool holdsLast() const;
    std::string_view readAt(off_t place, char* buffer, std::size_t size) const;

    std::string path_;
    platform::Descriptor file_;
    dev_t device_ = 0;
    ino_t inode_ = 0;
    off_t position_ = 0;
    int timesStartedAnew_ = 0;
    std::string last_; // The last bytes before the position.
};
