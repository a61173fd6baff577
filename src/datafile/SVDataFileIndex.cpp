#include "datafile/SVDataFileIndex.h"

#include "arrays/sv/SVErrorMessage.h"
#include "datafile/SVByteSwap.h"
#include "datafile/SVDataFileFormat.h"

#include <cstring>

namespace {

bool isIndexed(const SVIndexRecord& record)
{
    return !record.name.empty() && record.m >= 0 && record.n >= 0 && record.o >= 0
        && SVTypeWithCode(kSVDataFileTypes, record.type);
}

SVRecordFault faultOf(const SVIndexRecord& record, long long fileLength)
{
    if (!isIndexed(record))
        return SVRecordFault::Record;
    return SVEndOfData(record) > fileLength ? SVRecordFault::BeyondEnd : SVRecordFault::None;
}

// Reads all records. The first one that can't be right makes it fail.
template <class TakeRecord>
bool readRecords(SVRecordReader records, long long fileLength, std::map<std::string, SVDataEntry>& content,
    TakeRecord takeRecord)
{
    while (!records.AtEnd()) {
        SVIndexRecord record;
        const SVRecordFault fault = takeRecord(records, fileLength, record);
        if (fault == SVRecordFault::BeyondEnd)
            SVErrorMessage("DataFile::ReadContent", "Index has a problem");
        if (fault != SVRecordFault::None) {
            content.clear();
            return false;
        }
        content.insert_or_assign(content.end(), std::move(record.name),
            SVDataEntry{record.m, record.n, record.o, record.type, record.location});
    }
    return true;
}

SVIndexRecord recordOf(const std::string& name, const SVDataEntry& entry)
{
    return {static_cast<std::int8_t>(entry.type), entry.m, entry.n, entry.o, entry.location, name};
}

bool beginsWith(const unsigned char* bytes, const char* text, std::size_t count)
{
    return std::strncmp(reinterpret_cast<const char*>(bytes), text, count) == 0;
}

bool hasEnding(const std::string& name, const std::string& ending)
{
    return name.size() > ending.size()
        && name.compare(name.size() - ending.size(), ending.size(), ending) == 0;
}

std::string withIndexEnding(const std::string& name, std::size_t lengthOfOldEnding)
{
    return name.substr(0, name.size() - lengthOfOldEnding) + ".index";
}

} // namespace

SVRecordFault SVTakeBlockRecord(SVRecordReader& records, long long fileLength, SVIndexRecord& record)
{
    if (!records.Take(record.type) || !records.Take(record.m) || !records.Take(record.n)
        || !records.Take(record.o) || !records.Take(record.location))
        return SVRecordFault::Record;
    record.name = records.TakeName();
    if (record.location < 0 || record.location >= fileLength || record.name.size() > kSVLongestIndexedName)
        return SVRecordFault::Record;
    return faultOf(record, fileLength);
}

SVRecordFault SVTakeFileRecord(SVRecordReader& records, long long fileLength, SVIndexRecord& record)
{
    if (!records.Take(record.location) || !records.Take(record.type) || !records.Take(record.m)
        || !records.Take(record.n) || !records.Take(record.o))
        return SVRecordFault::Record;
    record.type = static_cast<std::int8_t>(record.type % kSVIndexFileTypeModulus);
    record.name = records.TakeName();
    if (record.name.size() > kSVLongestIndexedName)
        return SVRecordFault::Record;
    return faultOf(record, fileLength);
}

void SVAppendBlockRecord(std::string& block, const SVIndexRecord& record)
{
    SVAppendNumber(block, record.type);
    for (const std::int32_t dimension : {record.m, record.n, record.o})
        SVAppendNumber(block, dimension);
    SVAppendNumber(block, record.location);
    SVAppendName(block, record.name);
}

void SVAppendFileRecord(std::string& bytes, const SVIndexRecord& record)
{
    SVAppendNumber(bytes, record.location);
    SVAppendNumber(bytes, record.type);
    for (const std::int32_t dimension : {record.m, record.n, record.o})
        SVAppendNumber(bytes, dimension);
    SVAppendName(bytes, record.name);
}

long long SVEndOfData(const SVIndexRecord& record)
{
    return SVEndOfData(record.location, record.m, record.n, record.o,
        SVTypeWithCode(kSVDataFileTypes, record.type)->elementSize);
}

std::optional<SVRecordReader> SVIndexBlockAtEnd(
    SVReadAhead& ahead, bool swapBytes, const SVNativeDialect& dialect)
{
    const long long length = ahead.Length();
    const unsigned char* trailer =
        length >= 25 ? ahead.At(length - kSVIndexTrailerLength, kSVIndexTrailerLength) : nullptr;
    if (!trailer || !beginsWith(trailer, kSVIndexBlockEnd, 14))
        return {};
    unsigned char rawPosition[8];
    std::memcpy(rawPosition, trailer + 15, sizeof rawPosition);
    if (swapBytes)
        SVSwap8Bytes(rawPosition, sizeof rawPosition);
    long long position = 0;
    std::memcpy(&position, rawPosition, sizeof position);
    if (position <= 0 || position >= length - 25)
        return {};

    const unsigned char* bytes = ahead.At(position, kSVEntryHeaderLength);
    if (!bytes)
        return {};
    const auto header = SVDataFileStructure::fromBytes(bytes, swapBytes);
    if (header.n != 1 || header.o != 1 || header.nameLength != kSVIndexBlockNameLength
        || (dialect.typeOfBlock != 0 && header.type != dialect.typeOfBlock)
        || (dialect.blockIsShorterThanFile && header.m >= length))
        return {};
    bytes = ahead.At(position + kSVEntryHeaderLength, kSVIndexBlockNameLength);
    if (!bytes || !beginsWith(bytes, kSVIndexBlockName, 16) || header.m <= kSVIndexTrailerLength)
        return {};
    const auto count = static_cast<std::size_t>(header.m - kSVIndexTrailerLength);
    bytes = ahead.At(position + kSVEntryHeaderLength + kSVIndexBlockNameLength, count);
    if (!bytes || bytes[0] != kSVIndexBlockVersion)
        return {};
    return SVRecordReader(bytes + 1, count - 1);
}

bool SVReadIndexBlockRecords(
    SVRecordReader records, long long fileLength, std::map<std::string, SVDataEntry>& content)
{
    return readRecords(records, fileLength, content, SVTakeBlockRecord);
}

bool SVReadIndexFileRecords(
    SVRecordReader records, long long fileLength, std::map<std::string, SVDataEntry>& content)
{
    return readRecords(records, fileLength, content, SVTakeFileRecord);
}

void SVAppendIndexBlockRecords(std::string& block, const std::map<std::string, SVDataEntry>& content)
{
    for (const auto& [name, entry] : content)
        SVAppendBlockRecord(block, recordOf(name, entry));
}

std::string SVIndexFileBytes(const std::map<std::string, SVDataEntry>& content)
{
    std::string bytes(kSVIndexFileMagic, kSVIndexFileMagicLength);
    for (const auto& [name, entry] : content)
        SVAppendFileRecord(bytes, recordOf(name, entry));
    return bytes;
}

std::string SVIndexFileNameForReading(const std::string& dataFileName)
{
    return withIndexEnding(dataFileName, hasEnding(dataFileName, ".svbin") ? 6 : 0);
}

std::string SVIndexFileNameForNewFile(const std::string& dataFileName)
{
    return hasEnding(dataFileName, ".mat") ? withIndexEnding(dataFileName, 4)
                                           : SVIndexFileNameForReading(dataFileName);
}
