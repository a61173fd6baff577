#include "arrays/kernels/SVFolds.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>

namespace svinternal {

namespace {

// Folds the entries in lanes, so that the compiler can use vector instructions, and the lanes at the end.
// Each lane begins with `first`.
template <class Lane, class T, class Step>
Lane foldInLanes(const T* entries, long count, Lane first, Step step)
{
    constexpr long kLanes = 64 / static_cast<long>(sizeof(T)); // A cache line.
    constexpr long kAhead = 64 * kLanes;
    Lane lanes[kLanes];
    std::fill_n(lanes, kLanes, first);
    const long whole = count - count % kLanes;
    for (long i = 0; i < whole; i += kLanes) {
        __builtin_prefetch(entries + std::min(i + kAhead, count - 1));
        for (long lane = 0; lane < kLanes; ++lane)
            lanes[lane] = step(lanes[lane], static_cast<Lane>(entries[i + lane]));
    }
    for (long i = whole; i < count; ++i)
        lanes[0] = step(lanes[0], static_cast<Lane>(entries[i]));
    for (long lane = 1; lane < kLanes; ++lane)
        lanes[0] = step(lanes[0], lanes[lane]);
    return lanes[0];
}

// The best of `best` and the entries. Of equal ones the first is kept.
template <class T, class Better>
T bestOf(const T* entries, long count, T best, Better better)
{
    return foldInLanes(
        entries, count, best, [better](T held, T entry) { return better(entry, held) ? entry : held; });
}

template <class T, class Better>
long positionOfBest(const T* entries, long count, Better better)
{
    if (count == 0)
        return -1;
    // A position is searched only in a block that holds a better entry than those before.
    constexpr long kBlock = 16384;
    long position = 0;
    for (long i = 0; i < count; i += kBlock) {
        const long length = std::min(kBlock, count - i);
        const T best = bestOf(entries + i, length, entries[position], better);
        if (better(best, entries[position]))
            position = std::find(entries + i, entries + i + length, best) - entries;
    }
    return position;
}

} // namespace

template <class T>
T smallest(const T* entries, long count)
{
    return count == 0 ? T(0) : bestOf(entries, count, *entries, std::less<T>());
}

template <class T>
T largest(const T* entries, long count)
{
    return count == 0 ? T(0) : bestOf(entries, count, *entries, std::greater<T>());
}

template <class T>
long positionOfSmallest(const T* entries, long count)
{
    return positionOfBest(entries, count, std::less<T>());
}

template <class T>
long positionOfLargest(const T* entries, long count)
{
    return positionOfBest(entries, count, std::greater<T>());
}

template <class T>
double sum(const T* entries, long count)
{
    return foldInLanes(entries, count, 0.0, std::plus<double>());
}

template <class T>
T largestMagnitude(const T* entries, long count)
{
    return foldInLanes(entries, count, T(0),
        [](T norm, T entry) { return std::fabs(entry) > norm ? std::fabs(entry) : norm; });
}

template <class T>
bool containsNonFinite(const T* entries, long count)
{
    // An entry that isn't finite turns a product by 0 into a NaN, and the sum keeps it. A block at a time, so
    // that an early one is found early.
    constexpr long kBlock = 4096;
    const auto addProduct = [](T total, T entry) { return total + entry * T(0); };
    for (long i = 0; i < count; i += kBlock)
        if (foldInLanes(entries + i, std::min(kBlock, count - i), T(0), addProduct) != T(0))
            return true;
    return false;
}

#define SV_INSTANTIATE(T)                                                                                    \
    template T smallest(const T*, long);                                                                     \
    template T largest(const T*, long);                                                                      \
    template long positionOfSmallest(const T*, long);                                                        \
    template long positionOfLargest(const T*, long);                                                         \
    template double sum(const T*, long);

#define SV_INSTANTIATE_REAL(T)                                                                               \
    template T largestMagnitude(const T*, long);                                                             \
    template bool containsNonFinite(const T*, long);

SV_INSTANTIATE(double)
SV_INSTANTIATE(float)
SV_INSTANTIATE(std::int32_t)
SV_INSTANTIATE(std::int16_t)
SV_INSTANTIATE(std::uint16_t)
SV_INSTANTIATE(signed char)
SV_INSTANTIATE(unsigned char)
SV_INSTANTIATE_REAL(double)
SV_INSTANTIATE_REAL(float)

#undef SV_INSTANTIATE
#undef SV_INSTANTIATE_REAL

} // namespace svinternal
