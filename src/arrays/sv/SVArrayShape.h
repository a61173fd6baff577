#pragma once

#include "arrays/sv/SVArray.h"
#include "arrays/sv/SVArrayOperationTable.h"

// Arrays of another shape. Each function gives a new array with elements of its own; a bad argument is
// reported and gives an empty array.

// The dimensions in reverse order: (i,j) goes to (j,i), and (i,j,k) of more than one layer to (k,j,i).
template <class T>
SVMutableArray<T> Transpose(const SVArray<T>& A);

// The same elements in the same order as m x n x o. For int, negative dimensions whose product is right pass
// the test of the size and are reported when the array is made.
template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Reshape)> = 0>
SVMutableArray<T> Reshape(const SVArray<T>& A, long m, long n, long o);

// The first `length` elements: whole layers of a 3D array, whole columns of a matrix, entries of a vector. A
// length beyond that of A is not reported; the elements that A doesn't have are then undefined.
template <class T>
SVMutableArray<T> TruncateSize(const SVArray<T>& A, long length);

// The elements of A and room for `length` more behind them (whole layers, columns, or entries), not cleared.
template <class T>
SVMutableArray<T> IncreaseSize(const SVArray<T>& A, long length);

// The columns of each layer in reverse order.
template <class T>
SVMutableArray<T> FlipJ(const SVArray<T>& A);

// The columns of A, then those of B.
template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Columns)> = 0>
SVMutableArray<T> CombineColumns(const SVArray<T>& A, const SVArray<T>& B);

// The columns of A, then the first `fromSecond` columns of B.
SVMutableFloatArray CombineColumns(const SVFloatArray& A, const SVFloatArray& B, long fromSecond);

// The rows of A, then those of B.
SVMutableIntArray CombineRows(const SVIntArray& A, const SVIntArray& B);
