#pragma once

#include "datafile/SVFile.h"

#include <map>
#include <string>

class SVReadAhead;

// Where a variable lies in a Level 4 MAT-file, and what it is.
struct SVMatlabDataEntry {
    int m = 0; // Rows.
    int n = 0; // Columns.
    int type = 0; // Modulo 1000.
    long long location = -1; // File offset of the data; below 0: not found.
};

// Shared by the copies of an SVMatlabDataFile: the open file and its content, which is read once, at opening.
class SVMatlabDataFileContent {
public:
    explicit SVMatlabDataFileContent(const SVFile& openFile);
    ~SVMatlabDataFileContent();
    SVMatlabDataFileContent(const SVMatlabDataFileContent&) = delete;
    SVMatlabDataFileContent& operator=(const SVMatlabDataFileContent&) = delete;

    // The entry of that name; a default one if there is none.
    SVMatlabDataEntry Find(const std::string& name) const;
    // Writes the header and the name of a matrix at the end of the file; the data come next.
    void WriteHeader(const std::string& name, int type, int rows, int columns);
    void SaveIndex();

    bool swapBytes = false; // The file's byte order isn't the machine's.
    bool isSound = true; // The scan, if there was one, had nothing to report.
    int referenceCount = 1;
    bool indexSaved = false;
    bool saveIndexWhenClosing = false;
    SVFile indexFile; // The index that was written last.
    std::map<std::string, SVMatlabDataEntry> content;
    SVFile file;

private:
    void ReadInContent();
    bool ReadIndexFile();
    void ReportNewerLevel(SVReadAhead& ahead) const;
    void Scan();
};

// The index file of a data file: ".mat" replaced, or ".index" appended.
std::string SVMatlabIndexFileName(const std::string& dataFileName);
