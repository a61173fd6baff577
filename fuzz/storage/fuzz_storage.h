#pragma once

#include "../datafile/fuzz_files.h"
#include "diagnostics/KRMessageCenter.h"
#include "storage/KRDataFile.h"
#include "storage/formats/KRDataFileBinary.h"

#include <memory>
#include <string>

// Shared by the fuzz targets of the storage: what every file must survive, whatever its bytes are.
namespace fuzz {

// Messages go to a center that is given up with each input.
class QuietMessages {
public:
    QuietMessages() { KRMessageCenter::setCenterOfThread(KRMessageCenter::create()); }
    ~QuietMessages() { KRMessageCenter::setCenterOfThread(nullptr); }
    QuietMessages(const QuietMessages&) = delete;
    QuietMessages& operator=(const QuietMessages&) = delete;
};

inline void readAllOf(KRDataFile& file)
{
    for (const std::string& name : file.variablesNames()) {
        file.resolveNameAllowingRedirection(name);
        file.getSizeOfVariable(name);
        file.readNumber(name);
        file.readDoubleArray(name);
        file.readIntArray(name);
        file.readRawString(name);
        if (file.dataFileType() != "Ascii") {
            file.readNativeArray(name);
            file.readDataBlock(name);
        }
    }
    file.theContent();
    file.updateFile();
}

// Reads the file, rebuilds it from its structure, and appends to it: what was readable must stay so. An index
// block at the end of a damaged file is an exception: it counts only there.
template <class File>
void tryFile(const std::string& path)
{
    const QuietMessages quiet;
    const auto file = File::createWithName(path);
    if (!file)
        return;
    file->openFileWithProgress();
    readAllOf(*file);
    if (const auto rebuilt = KRDataFile::createFromStructure(file->structure()))
        readAllOf(*rebuilt);
    const auto before =
        KRDataFileBinary::fileEndsWithAnIndex(path) ? std::vector<std::string>() : file->variablesNames();
    if (!file->writeNumber(StorageNumber(1.0), "appended") || before.empty())
        return;
    const auto again = File::createWithName(path);
    again->openFileWithProgress();
    for (const std::string& name : before)
        if (!again->contains(name))
            __builtin_trap();
}

} // namespace fuzz
