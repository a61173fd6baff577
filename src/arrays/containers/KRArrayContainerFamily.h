#pragma once

#include "arrays/legacy/KRArrayFamily.h"

#include <cstdint>

// The eight kinds of array containers and their differences. The family is written once, as the template of
// KRArrayContainer.h; all differences are in the table of this file.

template <class T>
class KRArrayContainer;

using KRDoubleArrayContainer = KRArrayContainer<double>;
using KRFloatArrayContainer = KRArrayContainer<float>;
using KRIntArrayContainer = KRArrayContainer<std::int32_t>;
using KRShortArrayContainer = KRArrayContainer<std::int16_t>;
using KRUShortArrayContainer = KRArrayContainer<std::uint16_t>;
using KRCharacterArrayContainer = KRArrayContainer<signed char>;
using KRUCharArrayContainer = KRArrayContainer<unsigned char>;
using KRComplexArrayContainer = KRArrayContainer<KRComplexNumber>;

// The row of an element type in the table below.
template <class T>
inline constexpr int KRContainerMemberNumber = KRPlaceOfType<T, double, float, std::int32_t, std::int16_t,
    std::uint16_t, signed char, unsigned char, KRComplexNumber>;

struct KRContainerMember {
    const char* stem; // The class is "KR" + stem + "ArrayContainer"; reports name the array stem + "Array".
    const char* archiveKey; // Of the elements in an archive; null: the member has no archive.
    const char* rawType; // "KRType" of the plain dictionary; null: the dictionary doesn't have it.
    const char* allocationWord; // In the report of a failed allocation; null: no report.
    bool tellsEndian; // The plain dictionary has "Endian".
    const char* word; // The member in a description, as "Const <word> array".
    const char* mutableWords; // Begins the description of a mutable one.
};

// Other processes and stored archives depend on the keys and type names: don't change them.
inline constexpr KRContainerMember KRContainerFamily[] = {
    // clang-format off
    {"Double",    "Double", "Double",     "double",             true,  "double",         "Double array"},
    {"Float",     "Float",  "Float",      "float",              true,  "float",          "Float array"},
    {"Int",       "Int",    "Integer",    "int",                false, "integer",        "Integer array"},
    {"Short",     "Short",  nullptr,      "short int",          false, "character",      "Character array"},
    {"UShort",    "UShort", "UShort",     "unsigned short int", false, "unsigned short", "Unsigned short"},
    {"Character", "Char",   "Character",  "char",               false, "character",      "Character array"},
    {"UChar",     "UChar",  "UCharacter", nullptr,              false, "character",      "Character array"},
    {"Complex",   nullptr,  "Double",     "complex",            false, "complex",        "Complex array"},
    // clang-format on
};

template <class T>
inline constexpr const KRContainerMember& KRContainerMemberOf = KRContainerFamily[KRContainerMemberNumber<T>];
