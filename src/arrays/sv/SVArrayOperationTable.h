#pragma once

#include "arrays/sv/SVArrayFamily.h"

// Which of the array operations exists for which element type. An operation that isn't named here exists for
// all of them. A call for a type that lacks the operation doesn't compile.
enum class SVArrayOperation {
    Reshape,
    Region,
    Columns, // ExtractColumns, CopyIntoColumn, CopyIntoColumns, CombineColumns, Sort
    ExtractIndices,
    MemoryCopy, // MemoryCopy, MemoryCopyColumns, MemoryMove, MemoryMoveColumns
    Extrema, // Minimum, Maximum
    Mean,
    Numeric, // SubArray, ExtractRows, AddToColumnRange, InfinityNorm, ContainsNonFinite and their like
    SwapEndian,
};

inline constexpr bool SVArrayOperationTable[][7] = {
    // clang-format off
    // double float  int    short  ushort char   uchar
    {  true,  true,  true,  false, false, false, false }, // Reshape
    {  true,  true,  false, false, false, false, false }, // Region
    {  true,  true,  true,  false, false, false, false }, // Columns
    {  true,  true,  true,  true,  true,  true,  false }, // ExtractIndices
    {  true,  true,  true,  true,  false, false, false }, // MemoryCopy
    {  true,  true,  true,  true,  true,  false, true  }, // Extrema
    {  true,  true,  false, false, false, false, false }, // Mean
    {  true,  false, false, false, false, false, false }, // Numeric
    {  true,  true,  true,  true,  true,  false, false }, // SwapEndian
    // clang-format on
};

template <class T>
constexpr bool SVArrayHas(SVArrayOperation operation)
{
    return SVArrayOperationTable[static_cast<int>(operation)][SVArrayMemberNumber<T>];
}
