#pragma once

#include "datafile/SVFile.h"

inline constexpr const char* kSVTooFewValues = "Could not read the required number of values from the file";

// What the copies of a file handle share.
struct SVFileStorage {
    std::string name;
    std::FILE* file = nullptr;
    bool readOnly = true;
    int referenceCount = 1;
    long long length = -1; // In bytes; -1: not known.
    SVFile::Endian endian = SVFile::Native;
    bool swapBytes = false; // The declared order differs from the machine's. Nothing here applies it.

    SVFileStorage() = default;
    SVFileStorage(const SVFileStorage&) = delete;
    SVFileStorage& operator=(const SVFileStorage&) = delete;
    ~SVFileStorage()
    {
        if (file)
            std::fclose(file);
    }
};
