#pragma once

#include "arrays/sv/SVArray.h"

// Conversion between the element types, for each pair of distinct ones, with the plain conversion of the
// language: fractions are cut off, and a number that doesn't fit its new type (or a NaN as an integer) gives
// a result that depends on the machine.

// Element by element into an array of the same dimensions. Other dimensions are reported and leave M as it
// is.
template <class From, class To, SVOnlyIf<!std::is_same_v<From, To>> = 0>
void ConvertArray(const SVArray<From>& A, SVMutableArray<To>& M);

// The same into a new array.
template <class To, class From>
SVMutableArray<To> SVConvertedArray(const SVArray<From>& A)
{
    SVMutableArray<To> M(A.m(), A.n(), A.o());
    ConvertArray(A, M);
    return M;
}

template <class From, SVOnlyIf<!std::is_same_v<From, double>> = 0>
SVMutableDoubleArray ConvertToDouble(const SVArray<From>& A)
{
    return SVConvertedArray<double>(A);
}

template <class From, SVOnlyIf<!std::is_same_v<From, float>> = 0>
SVMutableFloatArray ConvertToFloat(const SVArray<From>& A)
{
    return SVConvertedArray<float>(A);
}

template <class From, SVOnlyIf<!std::is_same_v<From, std::int32_t>> = 0>
SVMutableIntArray ConvertToInt(const SVArray<From>& A)
{
    return SVConvertedArray<std::int32_t>(A);
}

template <class From, SVOnlyIf<!std::is_same_v<From, std::int16_t>> = 0>
SVMutableShortIntArray ConvertToShortInt(const SVArray<From>& A)
{
    return SVConvertedArray<std::int16_t>(A);
}

template <class From, SVOnlyIf<!std::is_same_v<From, std::uint16_t>> = 0>
SVMutableUShortIntArray ConvertToUShortInt(const SVArray<From>& A)
{
    return SVConvertedArray<std::uint16_t>(A);
}

template <class From, SVOnlyIf<!std::is_same_v<From, signed char>> = 0>
SVMutableCharArray ConvertToChar(const SVArray<From>& A)
{
    return SVConvertedArray<signed char>(A);
}

template <class From, SVOnlyIf<!std::is_same_v<From, unsigned char>> = 0>
SVMutableUCharArray ConvertToUChar(const SVArray<From>& A)
{
    return SVConvertedArray<unsigned char>(A);
}
