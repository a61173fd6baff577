#include "datafile/SVDataFileFormat.h"

#include "datafile/SVByteSwap.h"
#include "datafile/SVRecordReader.h"

#include <cstring>

SVDataFileStructure SVDataFileStructure::fromBytes(const unsigned char* bytes, bool swap)
{
    unsigned char raw[kSVEntryHeaderLength];
    std::memcpy(raw, bytes, sizeof raw);
    if (swap) {
        SVSwap8Bytes(raw, 8);
        SVSwap4Bytes(raw + 8, 20);
    }
    SVDataFileStructure header;
    SVRecordReader reader(raw, sizeof raw);
    reader.Take(header.entrySize);
    for (std::int32_t* field : {&header.type, &header.m, &header.n, &header.o, &header.nameLength})
        reader.Take(*field);
    return header;
}

void SVDataFileStructure::toBytes(unsigned char* bytes, bool swap) const
{
    std::string raw;
    SVAppendNumber(raw, entrySize);
    for (const std::int32_t field : {type, m, n, o, nameLength})
        SVAppendNumber(raw, field);
    std::memcpy(bytes, raw.data(), raw.size());
    if (swap) {
        SVSwap8Bytes(bytes, 8);
        SVSwap4Bytes(bytes + 8, 20);
    }
}

std::optional<bool> SVMagicIsBigEndian(const unsigned char* bytes, std::size_t count)
{
    constexpr struct {
        const char* magic;
        bool isBigEndian;
    } kMagics[] = {{kSVMagicBigEndian, true}, {kSVMagicLittleEndian, false}, {kSVMagicVersion1, true}};
    for (const auto& row : kMagics)
        if (count >= kSVMagicLength
            && std::strncmp(reinterpret_cast<const char*>(bytes), row.magic, kSVMagicLength) == 0)
            return row.isBigEndian;
    return {};
}
