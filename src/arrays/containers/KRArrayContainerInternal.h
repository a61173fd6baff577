#pragma once

// Shared by the sources of the array containers. Internal.

#include "arrays/containers/KRArrayContainerFamily.h"
#include "diagnostics/KRMessageCenter.h"

#include <fmt/format.h>
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

// That there is no memory for an array of this size; empty for a member that doesn't report it.
template <class T>
std::string failedAllocationText(long m, long n, long o)
{
    const char* const word = KRContainerMemberOf<T>.allocationWord;
    return word ? fmt::format("Can not allocate an array ({}) of the size {} x {} x {}", word, m, n, o) : "";
}

inline void reportUnlessEmpty(const std::string& text)
{
    if (!text.empty())
        KRMessageCenter::addMessage(text);
}

template <class T>
void reportFailedAllocation(long m, long n, long o)
{
    reportUnlessEmpty(failedAllocationText<T>(m, n, o));
}

} // namespace krcontainers
