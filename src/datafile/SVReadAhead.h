#pragma once

#include "datafile/SVFile.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

// Reads pieces of a file in ascending order, and reads ahead: in large blocks where the pieces are close
// together, in small ones where they are far apart. The file must stay open and has no unwritten bytes; its
// position doesn't change.
class SVReadAhead {
public:
    explicit SVReadAhead(const SVFile& file);
    SVReadAhead(int descriptor, long long length) : descriptor_(descriptor), length_(length) { }

    // `count` bytes at an offset, valid until the next call; null if the file doesn't have them.
    const unsigned char* At(long long position, std::size_t count);
    long long Length() const { return length_; } // Of the file, as it was at the start.

private:
    bool Fill(long long position, std::size_t count);

    int descriptor_;
    long long length_;
    std::vector<unsigned char> block_;
    long long blockStart_ = 0;
    std::size_t wanted_ = 0; // Bytes of the next block.
};

// As pread(), in as many steps as it takes: fewer bytes only at the end of the file or after a failure.
std::size_t SVReadAt(int descriptor, long long position, void* into, std::size_t count);

// All bytes of a file behind its magic and the NUL of that; nothing if the file doesn't begin with it. Memory
// is allocated for bytes that were read, not by the length of the file.
std::optional<std::vector<unsigned char>> SVBytesBehindMagic(const SVFile& file, const std::string& magic);
