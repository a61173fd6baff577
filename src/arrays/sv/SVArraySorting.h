#pragma once

#include "arrays/sv/SVArray.h"
#include "arrays/sv/SVArrayOperationTable.h"

// Ascending order. NaNs come last, in any order: the standard sort needs a strict order. Equal entries have
// no fixed order among themselves.

// A value and the position where it stood.
struct SVArraySortingPair {
    double value = 0;
    long position = 0;
};
bool operator<(const SVArraySortingPair& a, const SVArraySortingPair& b);

// A number and the index that goes with it.
struct KRSortNumberIndexSupport {
    double number = 0;
    std::int32_t index = 0;
};
bool operator<(const KRSortNumberIndexSupport& a, const KRSortNumberIndexSupport& b);

// All the entries in place, whatever the dimensions.
template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Columns)> = 0>
void Sort(SVMutableArray<T>& M);

// Sorts the entries of M and moves those of I along. Different dimensions are reported and change nothing.
void Sort(SVMutableDoubleArray& M, SVMutableIntArray& I);

// The positions of the entries in the order of their values, as a vector. An array of more entries than an
// int can count is reported and gives an empty array.
SVMutableIntArray SortedOrder(const SVDoubleArray& A);
