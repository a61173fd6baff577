#include "datafile/SVMatlabRecords.h"

#include "datafile/SVByteSwap.h"
#include "datafile/SVFile.h"
#include "datafile/SVMatlabFormat.h"

#include <cstring>

FMatrix FMatrix::fromBytes(const unsigned char* bytes, bool swap)
{
    unsigned char raw[kSVMatlabHeaderLength];
    std::memcpy(raw, bytes, sizeof raw);
    if (swap)
        SVSwap4Bytes(raw, sizeof raw);
    FMatrix header;
    SVRecordReader reader(raw, sizeof raw);
    for (std::int32_t* field : {&header.type, &header.mrows, &header.ncols, &header.imagf, &header.namlen})
        reader.Take(*field);
    return header;
}

std::string FMatrix::toBytes() const
{
    std::string bytes;
    for (const std::int32_t field : {type, mrows, ncols, imagf, namlen})
        SVAppendNumber(bytes, field);
    return bytes;
}

int SVMatlabOrderOfMachine()
{
    return SVFile::RunningOnBigEndianMachine() ? kSVMatlabTypeModulus : 0;
}

SVRecordFault SVTakeMatlabRecord(SVRecordReader& records, long long fileLength, SVMatlabIndexRecord& record)
{
    const bool whole = records.Take(record.location) && records.Take(record.type) && records.Take(record.rows)
        && records.Take(record.columns);
    record.name = records.TakeName();
    if (!whole || record.name.empty() || record.rows < 0 || record.columns < 0
        || !SVTypeWithCode(kSVMatlabTypes, record.type))
        return SVRecordFault::Record;
    const long long end =
        SVEndOfData(record.location, record.rows, record.columns, 1, SVMatlabElementSize(record.type));
    return end > fileLength ? SVRecordFault::BeyondEnd : SVRecordFault::None;
}

void SVAppendMatlabRecord(std::string& bytes, const SVMatlabIndexRecord& record)
{
    SVAppendNumber(bytes, record.location);
    SVAppendNumber(bytes, record.type);
    SVAppendNumber(bytes, record.rows);
    SVAppendNumber(bytes, record.columns);
    SVAppendName(bytes, record.name);
}
