#pragma once

#include "arrays/sv/SVArray.h"
#include "arrays/sv/SVArrayOperationTable.h"
#include "arrays/sv/SVRange.h"

// Copying into an array that exists. All are raw copies of elements; source and target may share a block. A
// bad argument is reported and leaves the target as it is.
//
// Columns are numbered through all layers: column n is the first one of the second layer.

// All the elements, between arrays of the same dimensions.
template <class T>
void CopyValues(SVMutableArray<T>& M, const SVArray<T>& A);

// The list into column j of a matrix.
template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Columns)> = 0>
void CopyIntoColumn(SVMutableArray<T>& M, const SVArray<T>& list, long j);

// The columns Ra of A into the columns Rm of M, both matrices.
template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Columns)> = 0>
void CopyIntoColumns(SVMutableArray<T>& M, const SVRange& Rm, const SVArray<T>& A, const SVRange& Ra);

// A, or the positions R of it, to the positions from `offset` in M.
template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::MemoryCopy)> = 0>
void MemoryCopy(SVMutableArray<T>& M, long offset, const SVArray<T>& A);
template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::MemoryCopy)> = 0>
void MemoryCopy(SVMutableArray<T>& M, long offset, const SVArray<T>& A, const SVRange& R);

// The columns R of A to the columns from `column` in M. The columns of both must have the same length.
template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::MemoryCopy)> = 0>
void MemoryCopyColumns(SVMutableArray<T>& M, long column, const SVArray<T>& A, const SVRange& R);

// The positions R of M to the positions from `offset`; the columns R to the columns from `column`.
template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::MemoryCopy)> = 0>
void MemoryMove(SVMutableArray<T>& M, long offset, const SVRange& R);
template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::MemoryCopy)> = 0>
void MemoryMoveColumns(SVMutableArray<T>& M, long column, const SVRange& R);

// The int forms take the first entry and the count instead of a range.
template <>
void MemoryCopy(SVMutableIntArray& M, long offset, const SVIntArray& A, const SVRange& R) = delete;
template <>
void MemoryCopyColumns(SVMutableIntArray& M, long column, const SVIntArray& A, const SVRange& R) = delete;
template <>
void MemoryMove(SVMutableIntArray& M, long offset, const SVRange& R) = delete;
template <>
void MemoryMoveColumns(SVMutableIntArray& M, long column, const SVRange& R) = delete;
void MemoryCopy(SVMutableIntArray& M, long offset, const SVIntArray& A, long from, long count);
void MemoryCopyColumns(SVMutableIntArray& M, long column, const SVIntArray& A, long from, long count);
void MemoryMove(SVMutableIntArray& M, long offset, long from, long count);
void MemoryMoveColumns(SVMutableIntArray& M, long column, long from, long count);

// A, with `add` added to each entry, to the positions from `offset` in M.
void CopyValuesIntoAndAdd(SVMutableIntArray& M, long offset, const SVIntArray& A, int add);

// Adds A to the columns R of M; adds `scale` times the columns Ra of A to them.
template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Numeric)> = 0>
void AddToColumnRange(SVMutableArray<T>& M, const SVRange& R, const SVArray<T>& A);
template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Numeric)> = 0>
void AddToColumnRange(
    SVMutableArray<T>& M, const SVRange& R, const SVArray<T>& A, const SVRange& Ra, SVArrayNumber<T> scale);
