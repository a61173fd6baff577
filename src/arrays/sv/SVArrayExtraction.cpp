#include "arrays/sv/SVArrayExtraction.h"

#include "arrays/sv/SVArrayInternal.h"

#include <algorithm>
#include <type_traits>

using namespace svinternal;

namespace {

template <class T>
SVMutableArray<T> box(const SVArray<T>& A, const SVRange& Ri, const SVRange& Rj, const SVRange& Rk)
{
    // Region reports under this name, too.
    if (!liesIn(Ri, A.m()) || !liesIn(Rj, A.n()) || !liesIn(Rk, A.o()))
        return failed<T>("SubArray(A,....)", "Index out of range");
    SVMutableArray<T> result(Ri.length, Rj.length, Rk.length);
    T* to = result.Pointer();
    for (long k = 0; k < result.o(); ++k) {
        for (long j = 0; j < result.n(); ++j) {
            const long column = (Rk.start + k) * A.n() + Rj.start + j;
            copyElements(A.Pointer() + column * A.m() + Ri.start, Ri.length, to);
            to += Ri.length;
        }
    }
    return result;
}

// Whether every index lies in [0,size).
bool lieIn(const SVIntArray& I, long size)
{
    return std::all_of(I.Pointer(), I.Pointer() + I.Length(),
        [size](std::int32_t index) { return index >= 0 && index < size; });
}

template <class T>
constexpr bool kIsShortOrNarrower = sizeof(T) <= 2;

} // namespace

template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Numeric)>>
SVMutableArray<T> SubArray(const SVArray<T>& A, long i0, long i1, long j0, long j1, long k0, long k1)
{
    // An end before its start makes a range of negative length, which lies nowhere. A negative index is kept
    // from the subtraction, which it could make wrap.
    const auto range = [](long start, long end) {
        return start < 0 || end < 0 ? SVRange(-1, 0) : SVRange(start, end - start);
    };
    return box(A, range(i0, i1), range(j0, j1), range(k0, k1));
}

template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Region)>>
SVMutableArray<T> Region(const SVArray<T>& A, const SVRange& Ri, const SVRange& Rj, const SVRange& Rk)
{
    if (Ri.length < 1 || Rj.length < 1 || Rk.length < 1)
        return SVMutableArray<T>();
    return box(A, Ri, Rj, Rk);
}

template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Columns)>>
SVMutableArray<T> ExtractColumns(const SVArray<T>& A, const SVRange& R)
{
    const std::string word = words<T>("ExtractColumns(", "Array,Range)");
    if (!liesIn(R, A.n()))
        return failed<T>(word, "Range is out of bounds");
    if (A.o() > 1)
        return failed<T>(word, "Does not work for 3D arrays");
    SVMutableArray<T> result(A.m(), R.length);
    copyElements(A.Pointer() + R.start * A.m(), result.Length(), result.Pointer());
    return result;
}

template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Columns)>>
SVMutableArray<T> ExtractColumns(const SVArray<T>& A, const SVIntArray& I)
{
    const std::string word = words<T>("ExtractColumns(", "Array,IntArray)");
    if (A.IsEmpty())
        return failed<T>(word, words<T>("", " array is empty").c_str());
    if (A.o() > 1)
        return failed<T>(word, "Does not work for 3D arrays");
    if (!lieIn(I, A.n()))
        return failed<T>(word, "Index out of bounds");
    SVMutableArray<T> result(A.m(), I.Length());
    for (long j = 0; j < result.n(); ++j)
        copyElements(A.Pointer() + I(j) * A.m(), A.m(), result.Pointer() + j * A.m());
    return result;
}

template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Numeric)>>
SVMutableArray<T> ExtractRows(const SVArray<T>& A, const SVRange& R)
{
    const std::string word = words<T>("ExtractRows(", "Array,Range)");
    if (!liesIn(R, A.m()))
        return failed<T>(word, "Range is out of bounds");
    if (A.o() > 1)
        return failed<T>(word, "Does not work for 3D arrays");
    return box(A, R, SVRange(0, A.n()), SVRange(0, A.o()));
}

template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::ExtractIndices)>>
SVMutableArray<T> ExtractIndices(const SVArray<T>& A, const SVIntArray& I)
{
    const std::string word = words<T>("ExtractIndices(", "Array,IntArray)");
    if (A.IsEmpty())
        return failed<T>(word, words<T>("", " array is empty").c_str());
    if (!lieIn(I, A.Length()))
        return failed<T>(word, "Index out of bounds");
    SVMutableArray<T> result(I.Length());
    std::transform(I.Pointer(), I.Pointer() + I.Length(), result.Pointer(),
        [from = A.Pointer()](std::int32_t position) { return from[position]; });
    return result;
}

template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::ExtractIndices)>>
SVMutableArray<T> ExtractIndices(const SVArray<T>& A, const SVRange& R)
{
    // The function word says "Entries", and the members of 16 bits or less have "SV" in it.
    if (!liesIn(R, A.Length()))
        return failed<T>(
            words<T>(kIsShortOrNarrower<T> ? "ExtractEntries(SV" : "ExtractEntries(", "Array,Range)"),
            "Range is out of bounds");
    SVMutableArray<T> result(R.length);
    copyElements(A.Pointer() + R.start, R.length, result.Pointer());
    return result;
}

template SVMutableDoubleArray SubArray(const SVDoubleArray&, long, long, long, long, long, long);
template SVMutableDoubleArray ExtractRows(const SVDoubleArray&, const SVRange&);
template SVMutableDoubleArray Region(const SVDoubleArray&, const SVRange&, const SVRange&, const SVRange&);
template SVMutableFloatArray Region(const SVFloatArray&, const SVRange&, const SVRange&, const SVRange&);

#define SV_INSTANTIATE_COLUMNS(T)                                                                            \
    template SVMutableArray<T> ExtractColumns(const SVArray<T>&, const SVRange&);                            \
    template SVMutableArray<T> ExtractColumns(const SVArray<T>&, const SVIntArray&);

#define SV_INSTANTIATE_INDICES(T)                                                                            \
    template SVMutableArray<T> ExtractIndices(const SVArray<T>&, const SVIntArray&);                         \
    template SVMutableArray<T> ExtractIndices(const SVArray<T>&, const SVRange&);

SV_INSTANTIATE_COLUMNS(double)
SV_INSTANTIATE_COLUMNS(float)
SV_INSTANTIATE_COLUMNS(std::int32_t)
SV_INSTANTIATE_INDICES(double)
SV_INSTANTIATE_INDICES(float)
SV_INSTANTIATE_INDICES(std::int32_t)
SV_INSTANTIATE_INDICES(std::int16_t)
SV_INSTANTIATE_INDICES(std::uint16_t)
SV_INSTANTIATE_INDICES(signed char)

#undef SV_INSTANTIATE_COLUMNS
#undef SV_INSTANTIATE_INDICES
