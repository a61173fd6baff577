#pragma once

#include "datafile/SVRecordReader.h"

#include <cstdint>
#include <string>

// The header of a matrix of a Level 4 MAT-file: 20 bytes, in the file's byte order.
struct FMatrix {
    std::int32_t type = 0; // With the byte order in its thousands.
    std::int32_t mrows = 0;
    std::int32_t ncols = 0;
    std::int32_t imagf = 0;
    std::int32_t namlen = 0; // With the NUL.

    static FMatrix fromBytes(const unsigned char* bytes, bool swap);
    std::string toBytes() const; // In the machine's order.
};

// The part of a type that is the machine's byte order.
int SVMatlabOrderOfMachine();

// A record of the index file, in the byte order of the machine that wrote it.
struct SVMatlabIndexRecord {
    std::int64_t location = 0; // File offset of the data.
    std::int8_t type = 0; // Modulo 1000.
    std::int32_t rows = 0;
    std::int32_t columns = 0;
    std::string name;
};
SVRecordFault SVTakeMatlabRecord(SVRecordReader& records, long long fileLength, SVMatlabIndexRecord& record);
void SVAppendMatlabRecord(std::string& bytes, const SVMatlabIndexRecord& record);
