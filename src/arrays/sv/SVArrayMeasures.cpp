#include "arrays/sv/SVArrayMeasures.h"

#include "arrays/kernels/SVStreamingCopy.h"
#include "arrays/sv/SVArrayInternal.h"

#include <algorithm>
#include <cmath>
#include <functional>

using namespace svinternal;

namespace {

// Folds the entries in lanes, which the processor does side by side, and the lanes at the end. Each lane
// begins with `first` and each step keeps the lane or takes the entry.
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

// The better one of `best` and the entries; an equal one doesn't take its place.
template <class T, class Better>
T bestOf(const T* entries, long count, T best, Better better)
{
    return foldInLanes(
        entries, count, best, [better](T held, T entry) { return better(entry, held) ? entry : held; });
}

template <class T, class Better>
T extremum(const SVArray<T>& A, Better better)
{
    return A.IsEmpty() ? T(0) : bestOf(A.Pointer(), A.Length(), *A.Pointer(), better);
}

template <class T, class Better>
long positionOfExtremum(const SVArray<T>& A, Better better)
{
    if (A.IsEmpty())
        return -1;
    // Looked for only in a block that holds a better entry than those before.
    constexpr long kBlock = 16384;
    const T* const entries = A.Pointer();
    long position = 0;
    for (long i = 0; i < A.Length(); i += kBlock) {
        const long count = std::min(kBlock, A.Length() - i);
        const T best = bestOf(entries + i, count, entries[position], better);
        if (better(best, entries[position]))
            position = std::find(entries + i, entries + i + count, best) - entries;
    }
    return position;
}

template <class T, class Choice>
SVMutableArray<T> chosenEntries(const SVArray<T>& A, const SVArray<T>& B, Choice choice, const char* name)
{
    if (!sameSize(A, B))
        return failed<T>(
            std::string(name) + "(" + SVArrayMemberOf<T>.classWord + "," + SVArrayMemberOf<T>.classWord + ")",
            "Need to have the same size");
    SVMutableArray<T> result(A.m(), A.n(), A.o());
    const auto choose = [choice](T* to, long count, const T* a, const T* b) {
        std::transform(a, a + count, b, to, choice);
    };
    computeBlock(result.Pointer(), A.Length(), choose, A.Pointer(), B.Pointer());
    return result;
}

template <class T, class Choice>
SVMutableArray<T> chosenAgainst(const SVArray<T>& A, T x, Choice choice)
{
    SVMutableArray<T> result(A.m(), A.n(), A.o());
    const auto choose = [x, choice](T* to, long count, const T* a) {
        std::transform(a, a + count, to, [x, choice](T entry) { return choice(entry, x); });
    };
    computeBlock(result.Pointer(), A.Length(), choose, A.Pointer());
    return result;
}

template <class T>
T smaller(T a, T b)
{
    return b < a ? b : a;
}

template <class T>
T larger(T a, T b)
{
    return a < b ? b : a;
}

} // namespace

template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Extrema)>>
T Minimum(const SVArray<T>& A)
{
    return extremum(A, std::less<T>());
}

template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Extrema)>>
T Maximum(const SVArray<T>& A)
{
    return extremum(A, std::greater<T>());
}

template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Extrema)>>
T Minimum(const SVArray<T>& A, long& index)
{
    index = positionOfExtremum(A, std::less<T>());
    return index < 0 ? T(0) : A.Pointer()[index];
}

template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Extrema)>>
T Maximum(const SVArray<T>& A, long& index)
{
    index = positionOfExtremum(A, std::greater<T>());
    return index < 0 ? T(0) : A.Pointer()[index];
}

template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Extrema)>>
SVMutableArray<T> Minimum(const SVArray<T>& A, const SVArray<T>& B)
{
    return chosenEntries(A, B, smaller<T>, "Minimum");
}

template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Extrema)>>
SVMutableArray<T> Maximum(const SVArray<T>& A, const SVArray<T>& B)
{
    return chosenEntries(A, B, larger<T>, "Maximum");
}

template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Extrema)>>
SVMutableArray<T> Minimum(const SVArray<T>& A, SVArrayNumber<T> x)
{
    return chosenAgainst(A, x, smaller<T>);
}

template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Extrema)>>
SVMutableArray<T> Maximum(const SVArray<T>& A, SVArrayNumber<T> x)
{
    return chosenAgainst(A, x, larger<T>);
}

template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Mean)>>
T Mean(const SVArray<T>& A)
{
    if (A.IsEmpty())
        return 0;
    const double sum = foldInLanes(A.Pointer(), A.Length(), 0.0, std::plus<double>());
    return static_cast<T>(sum / static_cast<double>(A.Length()));
}

double InfinityNorm(const SVDoubleArray& A)
{
    return foldInLanes(A.Pointer(), A.Length(), 0.0,
        [](double norm, double entry) { return std::fabs(entry) > norm ? std::fabs(entry) : norm; });
}

bool ContainsNonFinite(const SVDoubleArray& A)
{
    // What isn't finite turns a product by 0 into a NaN, and the sum keeps it. A block at a time, so that an
    // early one is found early.
    constexpr long kBlock = 4096;
    for (long i = 0; i < A.Length(); i += kBlock) {
        const long count = std::min(kBlock, A.Length() - i);
        if (foldInLanes(
                A.Pointer() + i, count, 0.0, [](double sum, double entry) { return sum + entry * 0.0; })
            != 0.0)
            return true;
    }
    return false;
}

long FindIndexOfMaximum(const SVDoubleArray& A)
{
    return positionOfExtremum(A, std::greater<double>());
}

long FindEntry(const SVIntArray& A, int v)
{
    return A.Find(v);
}

long FindEntryInSorted(const SVIntArray& A, int v)
{
    const std::int32_t* const last = A.Pointer() + A.Length();
    const std::int32_t* const found = std::lower_bound(A.Pointer(), last, v);
    return found != last && *found == v ? found - A.Pointer() : -1;
}

SVRange Range(const SVIntArray& list)
{
    if (list.IsEmpty())
        return SVRange();
    const long first = Minimum(list);
    return SVRange(first, Maximum(list) - first + 1);
}

#define SV_INSTANTIATE(T)                                                                                    \
    template T Minimum(const SVArray<T>&);                                                                   \
    template T Maximum(const SVArray<T>&);                                                                   \
    template T Minimum(const SVArray<T>&, long&);                                                            \
    template T Maximum(const SVArray<T>&, long&);                                                            \
    template SVMutableArray<T> Minimum(const SVArray<T>&, const SVArray<T>&);                                \
    template SVMutableArray<T> Maximum(const SVArray<T>&, const SVArray<T>&);                                \
    template SVMutableArray<T> Minimum(const SVArray<T>&, SVArrayNumber<T>);                                 \
    template SVMutableArray<T> Maximum(const SVArray<T>&, SVArrayNumber<T>);

SV_INSTANTIATE(double)
SV_INSTANTIATE(float)
SV_INSTANTIATE(std::int32_t)
SV_INSTANTIATE(std::int16_t)
SV_INSTANTIATE(std::uint16_t)
SV_INSTANTIATE(unsigned char)
template double Mean(const SVDoubleArray&);
template float Mean(const SVFloatArray&);

#undef SV_INSTANTIATE
