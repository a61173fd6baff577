#include "datafile/SVMatlabDataFileContent.h"

#include "arrays/sv/SVErrorMessage.h"
#include "datafile/SVMatlabFormat.h"
#include "datafile/SVMatlabRecords.h"
#include "datafile/SVReadAhead.h"
#include "datafile/SVRegularFile.h"

#include <algorithm>
#include <cstring>

std::string SVMatlabIndexFileName(const std::string& dataFileName)
{
    const std::string ending = ".mat";
    const bool has = dataFileName.size() > ending.size()
        && dataFileName.compare(dataFileName.size() - ending.size(), ending.size(), ending) == 0;
    return dataFileName.substr(0, dataFileName.size() - (has ? ending.size() : 0)) + ".index";
}

SVMatlabDataFileContent::SVMatlabDataFileContent(const SVFile& openFile) : file(openFile)
{
    ReadInContent();
}

SVMatlabDataFileContent::~SVMatlabDataFileContent()
{
    if (saveIndexWhenClosing)
        SaveIndex();
}

SVMatlabDataEntry SVMatlabDataFileContent::Find(const std::string& name) const
{
    const auto place = content.find(name);
    return place == content.end() ? SVMatlabDataEntry() : place->second;
}

void SVMatlabDataFileContent::ReadInContent()
{
    if (file.IsOpen() && !ReadIndexFile())
        Scan();
}

bool SVMatlabDataFileContent::ReadIndexFile()
{
    const std::string name = SVMatlabIndexFileName(file.Name());
    if (!SVFile::CanOpen(name, SVFile::ReadOnly))
        return false;
    const auto bytes = SVBytesBehindMagic(SVFile(name, SVFile::ReadOnly), kSVMatlabIndexMagic);
    if (!bytes)
        return false;
    SVRecordReader records(bytes->data(), bytes->size());
    while (!records.AtEnd()) {
        SVMatlabIndexRecord record;
        const SVRecordFault fault = SVTakeMatlabRecord(records, file.Length(), record);
        if (fault == SVRecordFault::BeyondEnd)
            SVErrorMessage("SVMatlabDataFile::ReadContent", "Index has a problem");
        if (fault != SVRecordFault::None) {
            content.clear();
            return false;
        }
        content.insert_or_assign(content.end(), std::move(record.name),
            SVMatlabDataEntry{record.rows, record.columns, record.type, record.location});
    }
    return true;
}

// The scan then reports that the format is invalid, as it does for any file that doesn't begin with a matrix.
void SVMatlabDataFileContent::ReportNewerLevel(SVReadAhead& ahead) const
{
    const auto length =
        static_cast<std::size_t>(std::min<long long>(file.Length(), kSVMatlabNewerHeaderLength));
    const unsigned char* const bytes = length > 0 ? ahead.At(0, length) : nullptr;
    if (bytes && SVMatlabIsOfNewerLevel(bytes, length))
        SVErrorMessage("Reading In File Content", "\"" + file.Name() + "\" " + kSVMatlabNewerLevelText);
}

void SVMatlabDataFileContent::Scan()
{
    SVReadAhead ahead(file);
    ReportNewerLevel(ahead);
    const int base = SVMatlabOrderOfMachine();
    long long position = 0;
    for (bool first = true;; first = false) {
        const unsigned char* bytes = ahead.At(position, kSVMatlabHeaderLength);
        if (!bytes)
            return;
        FMatrix header = FMatrix::fromBytes(bytes, swapBytes);
        // The first matrix decides the byte order of the whole file.
        if (first && (header.type < base || header.type > base + 52)) {
            swapBytes = true;
            header = FMatrix::fromBytes(bytes, true);
        }
        const auto nameLength = static_cast<std::size_t>(header.namlen); // A negative one is too long.
        if (nameLength < 1 || nameLength > kSVMatlabLongestName || header.type < 0
            || header.type > kSVMatlabLargestType) {
            SVErrorMessage(
                "Reading In File Content", "Invalid file format, make sure you used the -v4 in matlab.");
            // The matrices before it are then read in the machine's order: existing readers rely on that.
            if (!first)
                swapBytes = false;
            isSound = false;
            return;
        }
        const int type = header.type % kSVMatlabTypeModulus;
        const long long nameStart = position + kSVMatlabHeaderLength;
        const auto* name = reinterpret_cast<const char*>(ahead.At(nameStart, nameLength));
        if (!name)
            return;
        const int elementSize = SVMatlabElementSize(type);
        const long long dataStart = nameStart + header.namlen;
        const long long dataEnd =
            elementSize < 0 ? -1 : SVEndOfData(dataStart, header.mrows, header.ncols, 1, elementSize);
        if (dataEnd < 0) {
            SVErrorMessage("dataFile.ReadDoubleArray(name)", "Unexpected variable type in the file.");
            isSound = false;
            return;
        }
        content.insert_or_assign(std::string(name, std::find(name, name + nameLength, '\0')),
            SVMatlabDataEntry{header.mrows, header.ncols, type, dataStart});
        position = dataEnd;
    }
}

void SVMatlabDataFileContent::WriteHeader(const std::string& name, int type, int rows, int columns)
{
    file.MoveToEnd();
    // Entered without its place in the file: by the rules of this format a variable can be read only after
    // the file was opened again.
    content.insert_or_assign(name, SVMatlabDataEntry{rows, columns, type, -1});
    if (!file.IsOpen())
        return;
    const FMatrix matrix{
        type + SVMatlabOrderOfMachine(), rows, columns, 0, static_cast<std::int32_t>(name.size()) + 1};
    std::string header = matrix.toBytes();
    SVAppendName(header, name);
    std::fwrite(header.data(), 1, header.size(), file.FILEForWriting());
}

void SVMatlabDataFileContent::SaveIndex()
{
    if (indexSaved)
        return;
    indexSaved = true;
    if (!file.IsOpen() || !isSound) // The scan has reported.
        return;
    constexpr const char* kWord = "SVDataFile::SaveIndex";
    if (swapBytes) {
        SVErrorMessage(kWord, "An index can't be made for a file of the other byte order.");
        return;
    }
    std::string records;
    SVAppendName(records, kSVMatlabIndexMagic);
    for (const auto& [name, entry] : content)
        SVAppendMatlabRecord(
            records, {entry.location, static_cast<std::int8_t>(entry.type), entry.m, entry.n, name});
    file.Flush(); // The data must not reach the disk after the index.
    const std::string name = SVMatlabIndexFileName(file.Name());
    if (SVReplaceFile(name, records)) {
        indexFile = SVFile(name, SVFile::ReadOnly);
    } else {
        SVErrorMessage(kWord, "Could not create the index file");
        indexSaved = false;
    }
}
