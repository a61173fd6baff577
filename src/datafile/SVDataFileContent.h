#pragma once

#include "arrays/sv/SVLock.h"
#include "datafile/SVDataEntry.h"
#include "datafile/SVFile.h"

#include <cstddef>
#include <map>
#include <string>

struct SVDataFileStructure;

// Shared by the copies of an SVDataFile: the open file and its content, which is read once, at opening. The
// last copy writes the index block if saveIndex is set, and closes the file.
class SVDataFileContent {
public:
    enum class Search { IndexOrScan, ScanAlone };
    explicit SVDataFileContent(const SVFile& openFile, Search search = Search::IndexOrScan);
    ~SVDataFileContent();
    SVDataFileContent(const SVDataFileContent&) = delete;
    SVDataFileContent& operator=(const SVDataFileContent&) = delete;

    void Lock() { accessLock.Lock(); }
    void Unlock() { accessLock.Unlock(); }

    // The entry of that name; a default one if there is none.
    SVDataEntry Find(const std::string& name) const;
    // Whether an entry of that name may be written; if not, the reason is reported. Leaves the file at its
    // end, with its magic written.
    bool PrepareToWrite(const std::string& name);
    // Writes the header and the name of an entry, and adds it to `content`. The data come next.
    void WriteHeader(const std::string& name, int type, long m, long n, long o, long long dataSize);

    SVLock accessLock;
    int referenceCount = 1;
    std::map<std::string, SVDataEntry> content;
    SVFile file;
    bool atEnd = false; // The stream is at the end of the file.
    bool swapBytes = false; // The file's byte order isn't the machine's.
    bool isSound = true; // The scan, if there was one, had nothing to report.
    bool saveIndex = false;

private:
    void ReadInContent(Search search);
    bool ReadIndexBlock();
    bool ReadIndexFile();
    void Scan();
    void ReportDamage();
    bool ReadMagic(const unsigned char* bytes, std::size_t count);
    void WriteHeaderIfNecessary();
    void SaveIndexBlock();
};
