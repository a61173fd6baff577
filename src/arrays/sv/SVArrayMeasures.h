#pragma once

#include "arrays/sv/SVArray.h"
#include "arrays/sv/SVArrayOperationTable.h"
#include "arrays/sv/SVRange.h"

// Minimum, mean, norms and positions. Each function goes over the entries once. An empty array gives 0, and
// -1 as a position. A NaN is neither smaller nor larger than a number: it is the result only if it is the
// first entry.

template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Extrema)> = 0>
T Minimum(const SVArray<T>& A);
template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Extrema)> = 0>
T Maximum(const SVArray<T>& A);

// With the first position of that entry. `index` is a pointer to long; a long is a number to compare with,
// see below. (Position is a template parameter so that a 0 is a number, too, and not a null pointer.)
template <class T, class Position,
    SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Extrema) && std::is_same_v<Position, long>> = 0>
T Minimum(const SVArray<T>& A, Position* index);
template <class T, class Position,
    SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Extrema) && std::is_same_v<Position, long>> = 0>
T Maximum(const SVArray<T>& A, Position* index);

// Entry by entry, as a new array. Different dimensions are reported and give an empty array.
template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Extrema)> = 0>
SVMutableArray<T> Minimum(const SVArray<T>& A, const SVArray<T>& B);
template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Extrema)> = 0>
SVMutableArray<T> Maximum(const SVArray<T>& A, const SVArray<T>& B);

// Against a number, as a new array.
template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Extrema)> = 0>
SVMutableArray<T> Minimum(const SVArray<T>& A, SVArrayNumber<T> x);
template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Extrema)> = 0>
SVMutableArray<T> Maximum(const SVArray<T>& A, SVArrayNumber<T> x);

// Summed in double.
template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Mean)> = 0>
T Mean(const SVArray<T>& A);

double InfinityNorm(const SVDoubleArray& A); // The largest magnitude.
bool ContainsNonFinite(const SVDoubleArray& A);
long FindIndexOfMaximum(const SVDoubleArray& A); // The first one.

// The first position of v, or -1. The second form needs an array in ascending order, and uses binary search.
long FindEntry(const SVIntArray& A, int v);
long FindEntryInSorted(const SVIntArray& A, int v);

// The smallest range that holds every entry of the list; (0,0) for an empty one.
SVRange Range(const SVIntArray& list);
