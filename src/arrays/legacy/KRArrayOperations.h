#pragma once

#include "arrays/legacy/KRArray.h"
#include "arrays/sv/SVRange.h"

// Free functions over the object layer's arrays. Each gives a new array. A bad argument is reported and gives
// an empty one.

// The dimensions in reverse order: (n, m) of a matrix, (o, n, m) of a volume.
template <class T>
KRMutableArray<T> Transpose(const KRArray<T>& A);

// The first n columns of a matrix.
template <class T>
KRMutableArray<T> ExtractColumns(const KRArray<T>& A, long n);

// The first len elements as a vector, whatever the dimensions of A.
template <class T>
KRMutableArray<T> CropLength(const KRArray<T>& A, long len);

// The first len elements. A matrix keeps its number of rows, a volume its rows and columns.
template <class T>
KRMutableArray<T> TruncateSize(const KRArray<T>& A, long len);

// A with room for len more elements, which are not cleared: rows of a vector, whole columns of a matrix,
// whole layers of a volume.
template <class T>
KRMutableArray<T> IncreaseSize(const KRArray<T>& A, long len);

// The box of the ranges; without the third range that of the first layer. A range of length below 1 gives an
// empty array, without a report.
template <class T>
requires KRElementWithRegion<T> KRMutableArray<T> Region(
    const KRArray<T>& A, const SVRange& Ri, const SVRange& Rj, const SVRange& Rk);
template <class T>
requires KRElementWithRegion<T> KRMutableArray<T> Region(
    const KRArray<T>& A, const SVRange& Ri, const SVRange& Rj)
{
    return Region(A, Ri, Rj, SVRange(0, 1));
}

// The elements at the positions of the range, as a vector.
template <class T>
requires KRElementWithRegion<T> KRMutableArray<T> RegionOfIndices(const KRArray<T>& A, const SVRange& R);

// Sorts M in ascending order, NaNs last, and reorders I alike.
void Sort(MutableDoubleArray& M, MutableIntArray& I);
