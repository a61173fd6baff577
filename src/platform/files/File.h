#pragma once

#include "platform/Result.h"
#include "platform/files/Descriptor.h"

#include <chrono>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace platform {

// A file that is read or written piece by piece, closed with the object. The text of a failure begins with
// the path: "/a/b can't be opened: Permission denied". One thread at a time.
class File {
public:
    enum class Mode {
        Read,
        ReadRegular, // Refuses a pipe, whose opening would wait for a writer, and devices.
        Replace, // Emptied, or made.
        Append, // Made where there is none; reads from the start, writes behind the end.
    };
    // Folders are refused. `permissions`, less the process's mask, are those of a file that is made.
    static Result<File> open(const std::string& path, Mode mode, std::uint32_t permissions = 0666);

    Result<std::uint64_t> size() const; // Bytes.
    Status seek(std::uint64_t offset);
    Result<std::size_t> read(std::span<std::uint8_t> into); // 0 at the end.
    Result<std::string> readAll(std::uint64_t mostBytes); // From here to the end; more is a failure.
    Status write(std::string_view bytes); // All of them.
    Status truncate(std::uint64_t size);
    // Waits for an exclusive lock on the file, at most so long; the lock ends with the object.
    Status lock(std::chrono::milliseconds limit);
    Status close(); // Tells whether everything written has been taken.

private:
    File(std::string path, int descriptor) : path_(std::move(path)), descriptor_(descriptor) { }
    Error failure(const char* what, int reason) const;

    std::string path_;
    Descriptor descriptor_;
};

} // namespace platform
