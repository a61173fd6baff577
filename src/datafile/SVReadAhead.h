#pragma once

#include "datafile/SVFile.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

// Reads pieces of a file in ascending order, and reads ahead: in large blocks where the pieces are close
// together, in small ones where they are far apart. It moves the file's position.
class SVReadAhead {
public:
    explicit SVReadAhead(const SVFile& file) : file_(file), length_(file_.Length()) { }

    // `count` bytes at an offset, valid until the next call; null if the file doesn't have them.
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

// All bytes of a file behind its magic and the NUL of that; nothing if the file doesn't begin with it. Memory
// is allocated for bytes that were read, not by the length of the file.
std::optional<std::vector<unsigned char>> SVBytesBehindMagic(const SVFile& file, const std::string& magic);
