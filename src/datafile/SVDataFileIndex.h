#pragma once

#include "datafile/SVDataEntry.h"
#include "datafile/SVRecordReader.h"

#include <map>
#include <string>

// The records of the index block and of the index file. They are always in the byte order of the machine that
// wrote them. Reading clears the content and answers false when a record can't be right; the file is scanned
// then.

bool SVReadIndexBlockRecords(
    SVRecordReader records, long long fileLength, std::map<std::string, SVDataEntry>& content);
bool SVReadIndexFileRecords(
    SVRecordReader records, long long fileLength, std::map<std::string, SVDataEntry>& content);
void SVAppendIndexBlockRecords(std::string& block, const std::map<std::string, SVDataEntry>& content);
// An index file whole: its magic and a record for each variable.
std::string SVIndexFileBytes(const std::map<std::string, SVDataEntry>& content);

// The index file of a data file. A reader replaces ".svbin" alone; a file that is made anew takes away the
// one of a name that ended in ".mat", too.
std::string SVIndexFileNameForReading(const std::string& dataFileName);
std::string SVIndexFileNameForNewFile(const std::string& dataFileName);
