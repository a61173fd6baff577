#pragma once

#include "datafile/SVFile.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

// Looks into a file from one place to the next, further on, and reads ahead in blocks: large ones where the
// places lie close together, small ones where they lie far apart. It moves the file's position.
class SVReadAhead {
public:
    explicit SVReadAhead(const SVFile& file) : file_(file), length_(file_.Length()) { }

    // So many bytes at an offset, valid until the next call; null when the file doesn't have them.
    const unsigned char* At(long long position, std::size_t count);
    long long Length() const { return length_; } // Of the file, as it was at the start.

private:
    bool Fill(long long position, std::size_t count);

    SVFile file_;
    long long length_;
    std::vector<unsigned char> block_;
    long long blockStart_ = 0;
    std::size_t wanted_ = 0; // Bytes of the next block.
};

// All bytes of a file behind its magic, which counts with its NUL; nothing when the file begins otherwise.
// Room is made for what has really been read, whatever length the file claims.
std::optional<std::vector<unsigned char>> SVBytesBehindMagic(const SVFile& file, const std::string& magic);
