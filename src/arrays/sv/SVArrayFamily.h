#pragma once

#include <cstdint>
#include <type_traits>

// The seven members of the array family and their differences. The family is written once, as the templates
// of SVArray.h; all differences are in the table of this file.

static_assert(sizeof(long) == 8, "The dimensions of an array are signed 64-bit numbers, spelled long.");

template <class T>
struct SVArrayStorage;
template <class T>
class SVArray;
template <class T>
class SVMutableArray;

using SVDoubleArray = SVArray<double>;
using SVFloatArray = SVArray<float>;
using SVIntArray = SVArray<std::int32_t>;
using SVShortIntArray = SVArray<std::int16_t>;
using SVUShortIntArray = SVArray<std::uint16_t>;
using SVCharArray = SVArray<signed char>; // Signed on every machine, which plain char isn't.
using SVUCharArray = SVArray<unsigned char>;

using SVMutableDoubleArray = SVMutableArray<double>;
using SVMutableFloatArray = SVMutableArray<float>;
using SVMutableIntArray = SVMutableArray<std::int32_t>;
using SVMutableShortIntArray = SVMutableArray<std::int16_t>;
using SVMutableUShortIntArray = SVMutableArray<std::uint16_t>;
using SVMutableCharArray = SVMutableArray<signed char>;
using SVMutableUCharArray = SVMutableArray<unsigned char>;

using SVDoubleArrayStorage = SVArrayStorage<double>;
using SVFloatArrayStorage = SVArrayStorage<float>;
using SVIntArrayStorage = SVArrayStorage<std::int32_t>;
using SVShortIntArrayStorage = SVArrayStorage<std::int16_t>;
using SVUShortIntArrayStorage = SVArrayStorage<std::uint16_t>;
using SVCharArrayStorage = SVArrayStorage<signed char>;
using SVUCharArrayStorage = SVArrayStorage<unsigned char>;

// The row of an element type in the table below, and its column in the table of the operations.
template <class T>
inline constexpr int SVArrayMemberNumber = -1;
template <>
inline constexpr int SVArrayMemberNumber<double> = 0;
template <>
inline constexpr int SVArrayMemberNumber<float> = 1;
template <>
inline constexpr int SVArrayMemberNumber<std::int32_t> = 2;
template <>
inline constexpr int SVArrayMemberNumber<std::int16_t> = 3;
template <>
inline constexpr int SVArrayMemberNumber<std::uint16_t> = 4;
template <>
inline constexpr int SVArrayMemberNumber<signed char> = 5;
template <>
inline constexpr int SVArrayMemberNumber<unsigned char> = 6;

// Which signs psigns() distinguishes; None: the member has no psigns().
enum class SVArraySignPrinter { None, SignOnly, FiniteAndNonFinite };

struct SVArrayMember {
    const char* stem; // Its part of the function words in reports.
    const char* classWord; // Names the member in the reports of a bad index.
    const char* negativeSizeWord; // Function word of the report of a negative dimension; null: no report.
    const char* printedMatrix; // What pinfo() writes behind the dimensions.
    const char* printedVector; // What pinfo() writes before the length of a vector; null: nothing.
    bool findAndRanges; // Find(), prange(), pcrange()
    SVArraySignPrinter signs; // psigns()
    bool arithmetic; // *=, /=, += and -= by a number and by an array
};

// SVIntArray reports a negative size in the double class's name. Users search logs for these words: don't
// change them.
inline constexpr SVArrayMember SVArrayFamily[] = {
    // clang-format off
    {"Double",    "SVDoubleArray",    "SVMutableDoubleArray",   " double array", "double vector with ", true,  SVArraySignPrinter::FiniteAndNonFinite, true },
    {"Float",     "SVFloatArray",     "SVMutableFloatArray",    " array",        nullptr,               true,  SVArraySignPrinter::FiniteAndNonFinite, true },
    {"Int",       "SVIntArray",       "SVMutableDoubleArray",   " array",        nullptr,               true,  SVArraySignPrinter::SignOnly,           false},
    {"ShortInt",  "SVShortIntArray",  "SVMutableShortIntArray", " array",        nullptr,               false, SVArraySignPrinter::None,               false},
    {"UShortInt", "SVUShortIntArray", nullptr,                  " array",        nullptr,               false, SVArraySignPrinter::None,               false},
    {"Char",      "SVCharArray",      nullptr,                  " array",        nullptr,               false, SVArraySignPrinter::SignOnly,           false},
    {"UChar",     "SVUCharArray",     "SVMutableUCharArray",    " array",        nullptr,               false, SVArraySignPrinter::None,               false},
    // clang-format on
};

template <class T>
inline constexpr const SVArrayMember& SVArrayMemberOf = SVArrayFamily[SVArrayMemberNumber<T>];

// The type of an unnamed template parameter that restricts a function to some members:
//     template <class T, SVOnlyIf<SVArrayMemberOf<T>.arithmetic> = 0> ...
template <bool condition>
using SVOnlyIf = std::enable_if_t<condition, int>;

// A number beside an array. It is converted to the array's element type, which is deduced from the array
// alone.
template <class T>
struct SVArrayNumberOf {
    using Type = T;
};
template <class T>
using SVArrayNumber = typename SVArrayNumberOf<T>::Type;
