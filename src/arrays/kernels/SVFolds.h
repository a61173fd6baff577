#pragma once

// Results of one pass over a block. Defined for double, float, std::int32_t, std::int16_t, std::uint16_t,
// signed char and unsigned char, unless a line says otherwise. A count of 0 gives 0, and -1 as a position. A
// NaN is neither smaller nor larger than anything: it is the result only if it is the first entry.

namespace svinternal {

template <class T>
T smallest(const T* entries, long count);
template <class T>
T largest(const T* entries, long count);

// The first position of the smallest or largest entry.
template <class T>
long positionOfSmallest(const T* entries, long count);
template <class T>
long positionOfLargest(const T* entries, long count);

// In double. The order of the additions is fixed by the count, so equal blocks give equal sums.
template <class T>
double sum(const T* entries, long count);

// For double and float.
template <class T>
T largestMagnitude(const T* entries, long count);
template <class T>
bool containsNonFinite(const T* entries, long count);

} // namespace svinternal
