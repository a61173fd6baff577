#pragma once

// The constants of the part of the Level 4 MAT-file format that is read and written here. See
// docs/matlab-format.md.

#include "datafile/SVTypeTable.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

inline constexpr int kSVMatlabHeaderLength = 20;
inline constexpr std::size_t kSVMatlabLongestName = 255; // With its NUL.
inline constexpr int kSVMatlabLargestType = 1052;
inline constexpr int kSVMatlabTypeModulus = 1000; // The thousands are the byte order.

inline constexpr const char* kSVMatlabIndexMagic = "mat index file"; // And a NUL.

// Files of newer levels begin with a text of 116 bytes and end their header with a mark of the byte order, or
// are HDF5 files.
inline constexpr std::size_t kSVMatlabNewerHeaderLength = 128;
inline bool SVMatlabIsOfNewerLevel(const unsigned char* bytes, std::size_t length)
{
    constexpr unsigned char kHDF5[] = {0x89, 'H', 'D', 'F', '\r', '\n', 0x1a, '\n'};
    if (length >= sizeof kHDF5 && std::memcmp(bytes, kHDF5, sizeof kHDF5) == 0)
        return true;
    if (length < kSVMatlabNewerHeaderLength || std::memcmp(bytes, "MATLAB ", 7) != 0)
        return false;
    const unsigned char* mark = bytes + kSVMatlabNewerHeaderLength - 2;
    return std::memcmp(mark, "IM", 2) == 0 || std::memcmp(mark, "MI", 2) == 0;
}
inline constexpr const char* kSVMatlabNewerLevelText = "is a MAT-file of a newer level: save it with -v4.";

// The known types modulo 1000. The tens digit is the element; a last digit of 1 means text.
inline constexpr SVFileType kSVMatlabTypes[] = {
    {0, 8, " - double - "},
    {1, 8, " - string - "},
    {10, 4, " -  float - "},
    {20, 4, " -    int - "},
    {30, 2, " -  short - "},
    {40, 2, " - UShort - "},
    {50, 1, " -  UChar - "},
    {51, 1, " - string - "},
};
inline constexpr int kSVMatlabDouble = 0;
inline constexpr int kSVMatlabTextAsDoubles = 1;
inline constexpr int kSVMatlabBytes = 50;
inline constexpr int kSVMatlabText = 51;

// Bytes of an element of a type modulo 1000, by its tens digit; -1 for a refused one.
constexpr int SVMatlabElementSize(int code)
{
    constexpr int kSizes[] = {8, 4, 4, 2, 2, 1};
    const int element = code % 100 / 10;
    return element >= 0 && element < 6 ? kSizes[element] : -1;
}

// The codes of the members of the array family, in its order.
inline constexpr int kSVMatlabCodes[] = {kSVMatlabDouble, 10, 20, 30, 40, kSVMatlabText, kSVMatlabBytes};
template <class T>
inline constexpr int SVMatlabCode = kSVMatlabCodes[SVArrayMemberNumber<T>];
