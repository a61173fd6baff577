#include "datafile/SVNativeDialect.h"

#include "datafile/SVRecordReader.h"

SVEntryFault SVFaultOf(const SVDataFileStructure& header, const SVNativeDialect& dialect)
{
    const auto nameLength = static_cast<std::size_t>(header.nameLength); // A negative one is too long.
    if (header.entrySize == 0)
        return SVEntryFault::Size;
    if (nameLength > kSVLongestName || header.nameLength < dialect.shortestName)
        return SVEntryFault::Name;
    const SVFileType* const type = SVTypeWithCode(kSVDataFileTypes, header.type);
    if (dialect.refusesUnknownTypes ? !type : header.type > kSVLargestType)
        return SVEntryFault::Type;
    if (!dialect.sizeMustFit)
        return SVEntryFault::None;
    const long long start = kSVEntryHeaderLength + header.nameLength;
    const long long end = SVEndOfData(start, header.m, header.n, header.o, type->elementSize);
    return end >= start && end == header.entrySize ? SVEntryFault::None : SVEntryFault::Size;
}
