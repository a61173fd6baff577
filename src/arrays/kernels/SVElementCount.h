#pragma once

// Counts of elements. A count beyond 64 bits must not wrap into a small allocation: it throws
// std::bad_array_new_length, as operator new does.

#include <limits>
#include <new>

namespace svinternal {

// m*n*o, of dimensions that are not negative.
inline long elementCount(long m, long n, long o)
{
    if (m == 0 || n == 0 || o == 0)
        return 0;
    constexpr long most = std::numeric_limits<long>::max();
    if (m > most / n || m * n > most / o)
        throw std::bad_array_new_length();
    return m * n * o;
}

// a + b, of counts that are not negative.
inline long sumOfCounts(long a, long b)
{
    if (a > std::numeric_limits<long>::max() - b)
        throw std::bad_array_new_length();
    return a + b;
}

// Whether m*n*o is `count`, of dimensions with any sign and size. It doesn't throw.
inline bool isElementCount(long count, long m, long n, long o)
{
    if (m == 0 || n == 0 || o == 0)
        return count == 0;
    if (count % m != 0 || (count / m) % n != 0)
        return false;
    return count / m / n == o;
}

} // namespace svinternal
