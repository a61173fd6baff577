#include "datafile/SVDataFileIndex.h"

#include "arrays/sv/SVErrorMessage.h"
#include "datafile/SVDataFileFormat.h"

#include <cstdint>

namespace {

struct Record {
    std::int8_t type = 0;
    std::int32_t m = 0;
    std::int32_t n = 0;
    std::int32_t o = 0;
    std::int64_t location = 0;
    std::string name;
};

// Reads all records. The first one that can't be right makes it fail.
template <class TakeRecord>
bool readRecords(SVRecordReader records, long long fileLength, std::map<std::string, SVDataEntry>& content,
    TakeRecord takeRecord)
{
    while (!records.AtEnd()) {
        Record record;
        const SVFileType* type =
            takeRecord(records, record) ? SVTypeWithCode(kSVDataFileTypes, record.type) : nullptr;
        if (!type || record.name.empty() || record.m < 0 || record.n < 0 || record.o < 0) {
            content.clear();
            return false;
        }
        if (SVEndOfData(record.location, record.m, record.n, record.o, type->elementSize) > fileLength) {
            SVErrorMessage("DataFile::ReadContent", "Index has a problem");
            content.clear();
            return false;
        }
        content.insert_or_assign(content.end(), std::move(record.name),
            SVDataEntry{record.m, record.n, record.o, record.type, record.location});
    }
    return true;
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

bool SVReadIndexBlockRecords(
    SVRecordReader records, long long fileLength, std::map<std::string, SVDataEntry>& content)
{
    return readRecords(records, fileLength, content, [fileLength](SVRecordReader& reader, Record& record) {
        if (!reader.Take(record.type) || !reader.Take(record.m) || !reader.Take(record.n)
            || !reader.Take(record.o) || !reader.Take(record.location))
            return false;
        record.name = reader.TakeName();
        return record.location >= 0 && record.location < fileLength
            && record.name.size() <= kSVLongestIndexedName;
    });
}

bool SVReadIndexFileRecords(
    SVRecordReader records, long long fileLength, std::map<std::string, SVDataEntry>& content)
{
    return readRecords(records, fileLength, content, [](SVRecordReader& reader, Record& record) {
        if (!reader.Take(record.location) || !reader.Take(record.type) || !reader.Take(record.m)
            || !reader.Take(record.n) || !reader.Take(record.o))
            return false;
        record.type = static_cast<std::int8_t>(record.type % kSVIndexFileTypeModulus);
        record.name = reader.TakeName();
        return true;
    });
}

void SVAppendIndexBlockRecords(std::string& block, const std::map<std::string, SVDataEntry>& content)
{
    for (const auto& [name, entry] : content) {
        SVAppendNumber(block, static_cast<std::int8_t>(entry.type));
        for (const std::int32_t dimension : {entry.m, entry.n, entry.o})
            SVAppendNumber(block, dimension);
        SVAppendNumber(block, static_cast<std::int64_t>(entry.location));
        SVAppendName(block, name);
    }
}

std::string SVIndexFileBytes(const std::map<std::string, SVDataEntry>& content)
{
    std::string bytes(kSVIndexFileMagic, kSVIndexFileMagicLength);
    for (const auto& [name, entry] : content) {
        SVAppendNumber(bytes, static_cast<std::int64_t>(entry.location));
        SVAppendNumber(bytes, static_cast<std::int8_t>(entry.type));
        for (const std::int32_t dimension : {entry.m, entry.n, entry.o})
            SVAppendNumber(bytes, dimension);
        SVAppendName(bytes, name);
    }
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
