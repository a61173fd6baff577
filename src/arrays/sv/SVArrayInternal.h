#pragma once

// Shared by the operations on arrays. Internal.

#include "arrays/kernels/SVElementCopy.h"
#include "arrays/sv/SVArray.h"
#include "arrays/sv/SVErrorMessage.h"
#include "arrays/sv/SVRange.h"
#include "arrays/sv/SVSameSizeInternal.h"

#include <cstdint>
#include <string>

namespace svinternal {

// Whether the range lies in [0,size). Compared by subtraction: start + length can wrap.
inline bool liesIn(const SVRange& range, long size)
{
    return range.start >= 0 && range.length >= 0 && range.start <= size && range.length <= size - range.start;
}

// For instance words<float>("ExtractColumns(", "Array,Range)") is "ExtractColumns(FloatArray,Range)".
template <class T>
std::string words(const char* before, const char* behind)
{
    return std::string(before) + SVArrayMemberOf<T>.stem + behind;
}

// Reports, and returns the empty array that an operation returns on failure.
template <class T>
SVMutableArray<T> failed(const std::string& functionWord, const char* message)
{
    SVErrorMessage(functionWord, message);
    return SVMutableArray<T>();
}

// Arithmetic on 32-bit entries wraps around: signed overflow would be undefined.
inline std::uint32_t asUnsigned(std::int32_t number)
{
    return static_cast<std::uint32_t>(number);
}
inline std::int32_t wrapped(std::uint32_t number)
{
    return static_cast<std::int32_t>(number);
}

} // namespace svinternal
