#pragma once

// The constants of the native binary format, for its reader and its writer. See docs/native-format.md.

#include "datafile/SVTypeTable.h"

#include <cstddef>
#include <cstdint>
#include <optional>

inline constexpr std::size_t kSVMagicLength = 24; // With its NUL.
inline constexpr const char* kSVMagicLittleEndian = "Sorvanta Binary File LE";
inline constexpr const char* kSVMagicBigEndian = "Sorvanta Binary File BE";
inline constexpr const char* kSVMagicVersion1 = "Sorvanta Binary File v1"; // Big-endian; read, never written.

inline constexpr int kSVEntryHeaderLength = 28;
inline constexpr int kSVLargestType = 2000;
inline constexpr std::size_t kSVLongestName = 255; // With its NUL.

inline constexpr const char* kSVIndexBlockName = " SV Index block ";
inline constexpr const char* kSVIndexBlockEnd = " SV Index end ";
inline constexpr int kSVIndexBlockNameLength = 17; // With its NUL.
inline constexpr int kSVIndexTrailerLength = 23; // The end mark with its NUL, and an offset of 8 bytes.
inline constexpr char kSVIndexBlockVersion = 1;
inline constexpr std::size_t kSVLongestIndexedName = 10000;

inline constexpr const char* kSVIndexFileMagic = "svbin index file";
inline constexpr std::size_t kSVIndexFileMagicLength = 17; // With its NUL.
inline constexpr int kSVIndexFileTypeModulus = 100;

// The type codes. There are no others: 3 to 7 and 13 to 19 are reserved.
inline constexpr SVFileType kSVDataFileTypes[] = {
    {1, 8, " - double - "},
    {2, 4, " -  float - "},
    {8, 4, " -    int - "},
    {9, 2, " - UShort - "},
    {10, 2, " -  short - "},
    {11, 1, " -  UChar - "},
    {12, 1, " -   char - "},
    {20, 1, " - string - "},
};
inline constexpr int kSVStringType = 20;
inline constexpr int kSVCharType = 12;

// The codes of the members of the array family, in its order.
inline constexpr int kSVDataFileCodes[] = {1, 2, 8, 10, 9, kSVCharType, 11};
template <class T>
inline constexpr int SVDataFileCode = kSVDataFileCodes[SVArrayMemberNumber<T>];

// The header of an entry: 28 bytes, in the file's byte order.
struct SVDataFileStructure {
    std::int64_t entrySize = 0; // Of the whole entry.
    std::int32_t type = 0;
    std::int32_t m = 0;
    std::int32_t n = 0;
    std::int32_t o = 0;
    std::int32_t nameLength = 0; // With its NUL.

    SVDataFileStructure() = default;
    SVDataFileStructure(int rows, int columns, int layers, std::int64_t size, int typeCode, int lengthOfName)
        : entrySize(size), type(typeCode), m(rows), n(columns), o(layers), nameLength(lengthOfName)
    { }
    // From and to the 28 bytes of the file.
    static SVDataFileStructure fromBytes(const unsigned char* bytes, bool swap);
    void toBytes(unsigned char* bytes, bool swap) const;
};

// Whether the magic at the start of a file tells big-endian; nothing if the bytes are no magic.
std::optional<bool> SVMagicIsBigEndian(const unsigned char* bytes, std::size_t count);
