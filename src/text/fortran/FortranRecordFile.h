#pragma once

#include "platform/Result.h"
#include "platform/files/File.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// The records of an unformatted sequential file as Fortran programs write it: each between two marks of four
// bytes that hold its length. A record of more than 2 GiB is split into subrecords: a negative first mark
// says that another one follows, a negative last mark that one came before. Either byte order; the first
// record tells which. One thread at a time.
//
// A record that isn't there as a whole isn't there yet: the file may still be written. Marks that contradict
// each other are damage, and the reading doesn't get beyond them.
class FortranRecordFile {
public:
    static platform::Result<FortranRecordFile> open(const std::string& path);

    // The bytes of the next record; nothing when there is none (yet).
    platform::Result<std::optional<std::string>> next();
    // Its length in bytes, without reading what it holds.
    platform::Result<std::optional<std::uint64_t>> skip();

    bool isBigEndian() const { return isBigEndian_; } // Once a record has been found.
    std::uint64_t position() const { return position_; } // Behind the last record that was taken.
    platform::Result<std::uint64_t> size() const { return file_.size(); } // Bytes, as of now.

private:
    struct Part {
        std::uint64_t begin = 0;
        std::uint64_t length = 0;
    };
    struct Record {
        std::vector<Part> parts;
        std::uint64_t length = 0;
        std::uint64_t end = 0;
    };
    explicit FortranRecordFile(platform::File file, std::string path)
        : file_(std::move(file)), path_(std::move(path))
    { }
    platform::Result<std::optional<Record>> find();
    platform::Result<bool> settleByteOrder(std::uint64_t size);
    platform::Result<std::int64_t> mark(std::uint64_t at, bool bigEndian);
    platform::Status readAt(std::uint64_t at, char* into, std::uint64_t count);
    platform::Error damage(const char* what) const;

    platform::File file_;
    std::string path_;
    std::uint64_t position_ = 0;
    bool isBigEndian_ = false;
    bool knowsByteOrder_ = false;
};
