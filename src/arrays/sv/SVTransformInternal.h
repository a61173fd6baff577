#pragma once

// Shared by the transforms of the plane and of space. Internal.

#include "arrays/sv/SVArrayInternal.h"

#include <array>
#include <cmath>

namespace svinternal {

// Whether every two rows have a product of 0 and every row a length of 1, up to rounding.
template <std::size_t size>
bool rowsAreOrthonormal(const std::array<std::array<double, size>, size>& rows)
{
    for (std::size_t a = 0; a < size; ++a) {
        for (std::size_t b = a; b < size; ++b) {
            double product = 0;
            for (std::size_t i = 0; i < size; ++i)
                product += rows[a][i] * rows[b][i];
            if (a == b ? !(std::fabs(product - 1) <= 1e-14) : !(std::fabs(product) < 1e-15))
                return false;
        }
    }
    return true;
}

// Calls map(from, to) for each column of an array with `size` rows. Another size is reported under `word`.
template <long size, class T, class Map>
SVMutableArray<T> mappedColumns(const SVArray<T>& A, const std::string& word, Map map)
{
    if (A.IsEmpty())
        return SVMutableArray<T>();
    if (A.m() != size || A.o() != 1)
        return failed<T>(word, "Invalid array size");
    SVMutableArray<T> result(size, A.n());
    const T* from = A.Pointer();
    T* to = result.Pointer();
    for (long j = 0; j < A.n(); ++j, from += size, to += size)
        map(from, to);
    return result;
}

} // namespace svinternal
