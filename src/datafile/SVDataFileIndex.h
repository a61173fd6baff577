#pragma once

#include "datafile/SVDataEntry.h"
#include "datafile/SVRecordReader.h"

#include <map>
#include <string>

// The records of the index block and of the index file. They are always in the byte order of the machine that
// wrote them. If a record can't be right, reading clears the content and returns false; the file is then
// scanned.

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
