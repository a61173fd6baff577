#pragma once

// Shared by the operations on the object layer's arrays. Internal. It knows an array by its functions alone.

#include "arrays/kernels/SVElementCount.h"
#include "arrays/legacy/KRArrayFamily.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <type_traits>

namespace krinternal {

inline constexpr const char* kMemoryAllocationFailed = "Memory allocation failed";

template <class T>
std::string className()
{
    return KRArrayMemberOf<T>.className;
}

template <class Array, class Other>
bool haveSameSize(const Array& A, const Other& B)
{
    return A.m() == B.m() && A.n() == B.n() && A.o() == B.o();
}

// Whether m x n x o holds the elements of A.
template <class Array>
bool isSizeOf(const Array& A, long m, long n, long o)
{
    return m >= 0 && n >= 0 && o >= 0 && svinternal::isElementCount(A.Length(), m, n, o);
}

// Ascending, with the NaNs at the end. Nothing for a type without an order, for which some compilers
// translate members that the type doesn't have.
template <class T>
void sortEntries(T* first, long count)
{
    T* last = first + count;
    if constexpr (std::is_floating_point_v<T>) // The NaNs go first: the plain comparison is faster.
        last = std::partition(first, last, [](T value) { return !std::isnan(value); });
    if constexpr (KROrderedElement<T>)
        std::sort(first, last);
}

// The dimensions of an array with room for `length` more elements. The failures are the ends of sentences.
struct IncreasedSize {
    long m = 0;
    long n = 0;
    long o = 0;
    const char* failure = nullptr; // Null on success.
};
IncreasedSize increasedSize(long m, long n, long o, long length);

template <class Array>
IncreasedSize increasedSize(const Array& A, long length)
{
    return increasedSize(A.m(), A.n(), A.o(), length);
}

} // namespace krinternal
