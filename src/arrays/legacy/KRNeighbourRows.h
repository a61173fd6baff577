#pragma once

// The 3 x 3 (x 3) neighbourhoods of the mean and the median filter, a row of the array at a time. Internal.

#include "arrays/legacy/KRArrayFilters.h"
#include "arrays/legacy/KRArrayInternal.h"

#include <algorithm>

namespace krinternal {

inline constexpr int kMostRows = 9;

// The rows at and around (j,k) that the array has, in the order of memory.
template <class T>
struct NeighbourRows {
    const T* row[kMostRows];
    long number[kMostRows]; // Of each row in the array.
    int count = 0;

    NeighbourRows(const T* array, long m, long n, long o, long j, long k)
    {
        for (long layer = std::max(k - 1, 0L); layer <= std::min(k + 1, o - 1); ++layer)
            for (long column = std::max(j - 1, 0L); column <= std::min(j + 1, n - 1); ++column) {
                number[count] = layer * n + column;
                row[count] = array + number[count] * m;
                ++count;
            }
    }
};

// Whether a 2D, or 3D, filter takes an array of these dimensions, each in use being `least` or more.
template <class Array>
bool isImage(const Array& A, long least)
{
    return A.m() >= least && A.n() >= least && A.o() == 1;
}
template <class Array>
bool isVolume(const Array& A, long least)
{
    return A.m() >= least && A.n() >= least && A.o() >= least;
}

// The source of a filter. A target on the same block would change it while it is read.
template <class T, class U>
KRArray<T> sourceFor(const KRMutableArray<U>& M, const KRArray<T>& A)
{
    const void* const target = M.Pointer();
    return A.Pointer() == target ? A.Copy() : A;
}

// Calls filterRow(rows, m, to) for each row of the target. False if the user has aborted.
template <class T, class FilterRow>
bool filterRows(const KRArray<T>& A, KRMutableArray<T>& M, const KRProgressCPP& progress, FilterRow filterRow)
{
    const KRArray<T> source = sourceFor(M, A);
    const long m = A.m(), n = A.n(), o = A.o();
    if (source.IsEmpty()) // No memory for the copy.
        return false;
    for (long k = 0; k < o; ++k) {
        for (long j = 0; j < n; ++j) {
            if (progress.UserHasAborted())
                return false;
            filterRow(NeighbourRows<T>(source.Pointer(), m, n, o, j, k), m, M.Pointer() + (k * n + j) * m);
            progress.UpdatePercentage(static_cast<float>(k * n + j + 1) / static_cast<float>(n * o));
        }
    }
    return true;
}

// Calls function<rows>() for the count of rows, which the compiler unrolls then.
template <class Function>
void withRowCount(int count, Function function)
{
    switch (count) {
    case 2:
        return function.template operator()<2>();
    case 3:
        return function.template operator()<3>();
    case 4:
        return function.template operator()<4>();
    case 6:
        return function.template operator()<6>();
    case 9:
        return function.template operator()<9>();
    default:
        return;
    }
}

} // namespace krinternal
