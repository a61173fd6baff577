#pragma once

#include "datafile/SVReadAhead.h"

#include <cstdint>

// The part of a file that a scan holds: a header, a name and perhaps a single number. Its bounds decide which
// numbers are kept with their entries, so they move exactly as told here; the bytes come from far larger
// blocks where the entries are close together.
class ScanWindow {
public:
    ScanWindow(int descriptor, std::uint64_t fileLength, std::uint64_t size)
        : ahead_(descriptor, static_cast<long long>(fileLength)), fileLength_(fileLength), size_(size)
    { }

    bool reaches(std::uint64_t end) const { return end <= end_; }
    // The window begins at a position and is as large as it may be.
    void moveTo(std::uint64_t position);
    // The same for the name behind a header. Its end is taken to be too low by the header.
    void moveToName(std::uint64_t position, std::uint64_t headerLength);
    // Bytes of the file, valid until the next call; null when the file doesn't have them any more.
    const unsigned char* at(std::uint64_t position, std::size_t count);

private:
    SVReadAhead ahead_;
    std::uint64_t fileLength_;
    std::uint64_t size_; // Bytes at most.
    std::uint64_t end_ = 0;
};
