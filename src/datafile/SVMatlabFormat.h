#pragma once

// The constants of the Level 4 MAT-file format, as far as it is read and written here. docs/matlab-format.md
// tells the bytes.

#include "arrays/sv/SVArrayFamily.h"

#include <cstddef>
#include <cstdint>

inline constexpr int kSVMatlabHeaderLength = 20;
inline constexpr std::size_t kSVMatlabLongestName = 255; // With its NUL.
inline constexpr int kSVMatlabLargestType = 1052;
inline constexpr int kSVMatlabTypeModulus = 1000; // Above it stands the byte order.

inline constexpr const char* kSVMatlabIndexMagic = "mat index file"; // And a NUL.

// The types modulo 1000 that have a meaning here. Their tens digit is the element, their last digit 1 says
// text.
struct SVMatlabType {
    int code;
    const char* label;
};
inline constexpr SVMatlabType kSVMatlabTypes[] = {
    {0, " - double - "},
    {1, " - string - "},
    {10, " -  float - "},
    {20, " -    int - "},
    {30, " -  short - "},
    {40, " - UShort - "},
    {50, " -  UChar - "},
    {51, " - string - "},
};
inline constexpr int kSVMatlabDouble = 0;
inline constexpr int kSVMatlabTextAsDoubles = 1;
inline constexpr int kSVMatlabBytes = 50;
inline constexpr int kSVMatlabText = 51;

constexpr const SVMatlabType* SVMatlabTypeWithCode(int code)
{
    for (const SVMatlabType& type : kSVMatlabTypes)
        if (type.code == code)
            return &type;
    return nullptr;
}

// Bytes of an element of a type modulo 1000; -1 for one that is refused.
constexpr int SVMatlabElementSize(int code)
{
    constexpr int kSizes[] = {8, 4, 4, 2, 2, 1};
    const int element = code % 100 / 10;
    return element >= 0 && element < 6 ? kSizes[element] : -1;
}

template <class T>
inline constexpr int SVMatlabCode = -1;
template <>
inline constexpr int SVMatlabCode<double> = 0;
template <>
inline constexpr int SVMatlabCode<float> = 10;
template <>
inline constexpr int SVMatlabCode<std::int32_t> = 20;
template <>
inline constexpr int SVMatlabCode<std::int16_t> = 30;
template <>
inline constexpr int SVMatlabCode<std::uint16_t> = 40;
template <>
inline constexpr int SVMatlabCode<unsigned char> = 50;
template <>
inline constexpr int SVMatlabCode<signed char> = 51;
