#pragma once

#include "datafile/SVDataEntry.h"
#include "datafile/SVNativeDialect.h"
#include "datafile/SVReadAhead.h"
#include "datafile/SVRecordReader.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>

// The records of the index block and of the index file. They are always in the byte order of the machine that
// wrote them.

struct SVIndexRecord {
    std::int8_t type = 0; // A code of the format.
    std::int32_t m = 0;
    std::int32_t n = 0;
    std::int32_t o = 0;
    std::int64_t location = 0; // File offset of the data.
    std::string name;
};

// Read the next record.
SVRecordFault SVTakeBlockRecord(SVRecordReader& records, long long fileLength, SVIndexRecord& record);
SVRecordFault SVTakeFileRecord(SVRecordReader& records, long long fileLength, SVIndexRecord& record);
void SVAppendBlockRecord(std::string& block, const SVIndexRecord& record);
void SVAppendFileRecord(std::string& bytes, const SVIndexRecord& record);
long long SVEndOfData(const SVIndexRecord& record); // The offset just past the data of a sound record.

// The records of the index block at the end of a file, valid until the reader is used again; nothing if the
// file doesn't end with a block.
std::optional<SVRecordReader> SVIndexBlockAtEnd(
    SVReadAhead& ahead, bool swapBytes, const SVNativeDialect& dialect);

// If a record can't be right, these clear the content and return false; the file is then scanned.
bool SVReadIndexBlockRecords(
    SVRecordReader records, long long fileLength, std::map<std::string, SVDataEntry>& content);
bool SVReadIndexFileRecords(
    SVRecordReader records, long long fileLength, std::map<std::string, SVDataEntry>& content);
void SVAppendIndexBlockRecords(std::string& block, const std::map<std::string, SVDataEntry>& content);
// The content of an index file: its magic and a record for each variable.
std::string SVIndexFileBytes(const std::map<std::string, SVDataEntry>& content);

// The index file of a data file. A reader replaces only ".svbin"; a new file removes the index of a name that
// ends in ".mat", too.
std::string SVIndexFileNameForReading(const std::string& dataFileName);
std::string SVIndexFileNameForNewFile(const std::string& dataFileName);
