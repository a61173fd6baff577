#pragma once

#include <complex>
#include <cstdint>
#include <type_traits>

// The ten members of the object layer's array family and their differences. The family is written once, as
// the templates of KRArray.h; all differences are in the table of this file.

static_assert(sizeof(long) == 8, "The dimensions of an array are signed 64-bit numbers, spelled long.");

template <class T>
class KRArray;
template <class T>
class KRMutableArray;

using KRComplexNumber = std::complex<double>;

using DoubleArray = KRArray<double>;
using FloatArray = KRArray<float>;
using IntArray = KRArray<std::int32_t>;
using IntegerArray = KRArray<std::int64_t>;
using UIntegerArray = KRArray<std::uint64_t>;
using KRShortArray = KRArray<std::int16_t>;
using KRUShortArray = KRArray<std::uint16_t>;
using CharacterArray = KRArray<signed char>; // Signed on every machine, which plain char isn't.
using UCharArray = KRArray<unsigned char>;
using ComplexArray = KRArray<KRComplexNumber>;

using MutableDoubleArray = KRMutableArray<double>;
using MutableFloatArray = KRMutableArray<float>;
using MutableIntArray = KRMutableArray<std::int32_t>;
using MutableIntegerArray = KRMutableArray<std::int64_t>;
using MutableUIntegerArray = KRMutableArray<std::uint64_t>;
using KRMutableShortArray = KRMutableArray<std::int16_t>;
using KRMutableUShortArray = KRMutableArray<std::uint16_t>;
using MutableCharacterArray = KRMutableArray<signed char>;
using MutableUCharArray = KRMutableArray<unsigned char>;
using MutableComplexArray = KRMutableArray<KRComplexNumber>;

// The place of an element type in a list of types; -1 when it isn't there.
template <class T, class... Types>
inline constexpr int KRPlaceOfType = [] {
    int place = 0;
    const bool isThere = ((std::is_same_v<T, Types> || (++place, false)) || ...);
    return isThere ? place : -1;
}();

// The row of an element type in the table below.
template <class T>
inline constexpr int KRArrayMemberNumber = KRPlaceOfType<T, double, float, std::int32_t, std::int64_t,
    std::uint64_t, std::int16_t, std::uint16_t, signed char, unsigned char, KRComplexNumber>;

// What the log is told each time that the memory of all arrays has grown by 20 MB.
struct KRArrayTrace {
    const char* text = nullptr; // Before the number of megabytes; null: the member tells nothing.
    bool onlyTakenBlocks = false; // Only an array on a block that was allocated elsewhere tells it.
};

struct KRArrayMember {
    const char* className; // Of the read-only handle; reports name both handles by it.
    long sizeLimit; // In bytes; a larger array is made empty. 0: no limit.
    const char* sizeMessage; // The report of a larger one.
    KRArrayTrace trace;
    const char* notMatrixSuffix; // Ends ExtractColumns' report of a 3D array.
    const char* tooManySuffix; // Ends its report of too many columns.
    const char* regionWord; // Names the member in the report of Region; null: the member has no Region.
};

inline constexpr long kKRTenGigabytes = 10000000000;
inline constexpr long kKRFifteenGigabytes = 15000000000;

// Users search logs for these words: don't change them. UIntegerArray's words are those of IntegerArray.
inline constexpr KRArrayMember KRArrayFamily[] = {
    // clang-format off
    {"DoubleArray",    0,                   nullptr, {},                                    "",           " (Double)",  "double"},
    {"FloatArray",     0,                   nullptr, {"Hit another megabyte (", true},      "",           "",           nullptr},
    {"IntArray",       kKRTenGigabytes,     "Max size of a integer array (10GB) exceeded.",
                                                     {},                                    " (int)",     " (int)",     "int"},
    {"IntegerArray",   kKRTenGigabytes,     "Max size of a integer array (10GB) exceeded.",
                                                     {"Hit another megabyte - int ("},      " (integer)", " (integer)", "Int"},
    {"UIntegerArray",  kKRTenGigabytes,     "Max size of a integer array (10GB) exceeded.",
                                                     {"Hit another megabyte - int ("},      " (uint)",    " (uint)",    nullptr},
    {"KRShortArray",   0,                   nullptr, {"Hit another megabyte ("},            " (Short)",   " (Short)",   nullptr},
    {"KRUShortArray",  kKRTenGigabytes,     "Max size of a short int array (10GB) exceeded.",
                                                     {"Hit another megabyte ("},            " (UShort)",  " (UShort)",  nullptr},
    {"CharacterArray", 0,                   nullptr, {},                                    " (Char)",    " (Char)",    "character"},
    {"UCharArray",     kKRFifteenGigabytes, "Max size of a char array (15GB) exceeded.",
                                                     {"Hit another megabyte ("},            "",           "",           "char"},
    {"ComplexArray",   0,                   nullptr, {"Hit another megabyte ("},            "",           "",           nullptr},
    // clang-format on
};

template <class T>
inline constexpr const KRArrayMember& KRArrayMemberOf = KRArrayFamily[KRArrayMemberNumber<T>];

// What restricts a function to some members.
template <class T>
concept KRIsArrayElement = KRArrayMemberNumber<T>
>= 0;
template <class T>
concept KROrderedElement = KRIsArrayElement<T> && !std::is_same_v<T, KRComplexNumber>;
template <class T>
concept KRRealElement = std::is_floating_point_v<T>;
template <class T>
concept KRElementWithRegion = KRIsArrayElement<T> && KRArrayMemberOf<T>
.regionWord != nullptr;
template <class T>
concept KRIntegerElement = KROrderedElement<T> && std::is_integral_v<T> && sizeof(T) >= 4;
