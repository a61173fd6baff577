#pragma once

#include "platform/Result.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <sys/types.h>

// An open data file. Only regular files are opened: a folder, a device or a pipe in the place of one is
// refused at once. Reading doesn't depend on a position, so it sees what another process has appended
// meanwhile.
class DataFileStream {
public:
    enum class Access { Read, ReadWrite, New }; // New: an old file is removed.
    // Null when the file can't be opened so.
    static std::unique_ptr<DataFileStream> open(const std::string& path, Access access);

    // Which file this is, whatever its name means by now.
    struct Identity {
        dev_t device = 0;
        ino_t inode = 0;
        bool operator==(const Identity&) const = default;
    };
    Identity identity() const;
    static bool isNamed(const std::string& path, const Identity& identity); // Whether the path leads there.
    std::uint64_t length() const; // Bytes, now.
    int descriptor() const { return ::fileno(file_.get()); }
    bool isWritable() const { return writable_; }
    bool isSound() const { return std::ferror(file_.get()) == 0 && !failed_; }

    // Whether all of the bytes were there.
    bool readAt(std::uint64_t offset, void* into, std::size_t count);
    // Writes the parts one behind the other at the end of the file, which must be `end`. On failure the file
    // is cut back to that end.
    platform::Status append(std::uint64_t end, std::span<const std::string_view> parts);
    void flush() { std::fflush(file_.get()); }

private:
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    DataFileStream(std::FILE* file, bool writable) : file_(file), writable_(writable) { }
    platform::Status writeAll(std::uint64_t place, std::span<const std::string_view> parts);

    std::unique_ptr<std::FILE, Close> file_;
    bool writable_;
    bool failed_ = false; // A read or a write met a fault of the device.
};
