#include "arrays/sv/SVArrayMeasures.h"

#include "arrays/kernels/SVFolds.h"
#include "arrays/kernels/SVStreamingCopy.h"
#include "arrays/sv/SVArrayInternal.h"

#include <algorithm>

using namespace svinternal;

namespace {

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
    return smallest(A.Pointer(), A.Length());
}

template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Extrema)>>
T Maximum(const SVArray<T>& A)
{
    return largest(A.Pointer(), A.Length());
}

template <class T, class Position,
    SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Extrema) && std::is_same_v<Position, long>>>
T Minimum(const SVArray<T>& A, Position* index)
{
    *index = positionOfSmallest(A.Pointer(), A.Length());
    return *index < 0 ? T(0) : A.Pointer()[*index];
}

template <class T, class Position,
    SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Extrema) && std::is_same_v<Position, long>>>
T Maximum(const SVArray<T>& A, Position* index)
{
    *index = positionOfLargest(A.Pointer(), A.Length());
    return *index < 0 ? T(0) : A.Pointer()[*index];
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
    return static_cast<T>(sum(A.Pointer(), A.Length()) / static_cast<double>(A.Length()));
}

double InfinityNorm(const SVDoubleArray& A)
{
    return largestMagnitude(A.Pointer(), A.Length());
}

bool ContainsNonFinite(const SVDoubleArray& A)
{
    return containsNonFinite(A.Pointer(), A.Length());
}

long FindIndexOfMaximum(const SVDoubleArray& A)
{
    return positionOfLargest(A.Pointer(), A.Length());
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
    template T Minimum(const SVArray<T>&, long*);                                                            \
    template T Maximum(const SVArray<T>&, long*);                                                            \
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
