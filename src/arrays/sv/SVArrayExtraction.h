#pragma once

#include "arrays/sv/SVArray.h"
#include "arrays/sv/SVArrayOperationTable.h"
#include "arrays/sv/SVRange.h"

// Parts of arrays, as new arrays with elements of their own. A bad argument is reported and gives an empty
// array.

// The box from (i0,j0,k0) to (i1,j1,k1), the end indices excluded.
template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Numeric)> = 0>
SVMutableArray<T> SubArray(const SVArray<T>& A, long i0, long i1, long j0, long j1, long k0, long k1);

// The box of three ranges; without the third, of the first layer. A range of length below 1 on any axis gives
// an empty array without a report.
template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Region)> = 0>
SVMutableArray<T> Region(const SVArray<T>& A, const SVRange& Ri, const SVRange& Rj, const SVRange& Rk);
template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Region)> = 0>
SVMutableArray<T> Region(const SVArray<T>& A, const SVRange& Ri, const SVRange& Rj)
{
    return Region(A, Ri, Rj, SVRange(0, 1));
}

// Columns of a matrix, by range or in the order of I.
template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Columns)> = 0>
SVMutableArray<T> ExtractColumns(const SVArray<T>& A, const SVRange& R);
template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Columns)> = 0>
SVMutableArray<T> ExtractColumns(const SVArray<T>& A, const SVIntArray& I);

// Rows of a matrix.
template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Numeric)> = 0>
SVMutableArray<T> ExtractRows(const SVArray<T>& A, const SVRange& R);

// The elements at raw positions, as a vector.
template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::ExtractIndices)> = 0>
SVMutableArray<T> ExtractIndices(const SVArray<T>& A, const SVIntArray& I);
template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::ExtractIndices)> = 0>
SVMutableArray<T> ExtractIndices(const SVArray<T>& A, const SVRange& R);
