#pragma once

// Shared by the sources of the array containers. Internal.

#include "arrays/containers/KRArrayContainerFamily.h"

#include <string>

// Calls a macro for each element type of the family.
#define KR_FOR_ALL_CONTAINERS(macro)                                                                         \
    macro(double) macro(float) macro(std::int32_t) macro(std::int16_t) macro(std::uint16_t)                  \
        macro(signed char) macro(unsigned char) macro(KRComplexNumber)

namespace krcontainers {

inline constexpr const char* kNoMutablePointer =
    "Asking for a mutable pointer from an array that only contains a const array.";

// As "KRDoubleArrayContainer".
template <class T>
std::string containerName()
{
    return std::string("KR") + KRContainerMemberOf<T>.stem + "ArrayContainer";
}

// As "DoubleArray".
template <class T>
std::string containedName()
{
    return std::string(KRContainerMemberOf<T>.stem) + "Array";
}

} // namespace krcontainers
