#include "arrays/sv/SVArraySorting.h"

#include "arrays/sv/SVArrayInternal.h"
#include "arrays/sv/SVList.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>

using namespace svinternal;

namespace {

bool isBefore(double a, double b)
{
    return a < b || (std::isnan(b) && !std::isnan(a));
}

} // namespace

bool operator<(const SVArraySortingPair& a, const SVArraySortingPair& b)
{
    return isBefore(a.value, b.value);
}

bool operator<(const KRSortNumberIndexSupport& a, const KRSortNumberIndexSupport& b)
{
    return isBefore(a.number, b.number);
}

template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Columns)>>
void Sort(SVMutableArray<T>& M)
{
    T* last = M.Pointer() + M.Length();
    if constexpr (std::is_floating_point_v<T>) // NaNs go to the end first: the plain comparison is faster.
        last = std::partition(M.Pointer(), last, [](T value) { return !std::isnan(value); });
    std::sort(M.Pointer(), last);
}

void Sort(SVMutableDoubleArray& M, SVMutableIntArray& I)
{
    if (!sameSize(M, I)) {
        SVErrorMessage("SortDoubleAndInt", "Incompatible sizes.");
        return;
    }
    const long length = M.Length();
    SVMutableList<KRSortNumberIndexSupport> list(length);
    KRSortNumberIndexSupport* const entries = list.Pointer();
    for (long i = 0; i < length; ++i)
        entries[i] = {M.Pointer()[i], I.Pointer()[i]};
    std::sort(entries, entries + length);
    for (long i = 0; i < length; ++i) {
        M.Pointer()[i] = entries[i].number;
        I.Pointer()[i] = entries[i].index;
    }
}

SVMutableIntArray SortedOrder(const SVDoubleArray& A)
{
    const long length = A.Length();
    if (length > std::numeric_limits<std::int32_t>::max())
        return failed<std::int32_t>("SortedOrder(DoubleArray)", "Array is too long.");
    SVMutableList<SVArraySortingPair> list(length);
    SVArraySortingPair* const pairs = list.Pointer();
    for (long i = 0; i < length; ++i)
        pairs[i] = {A.Pointer()[i], i};
    std::sort(pairs, pairs + length);
    SVMutableIntArray order(length);
    std::transform(pairs, pairs + length, order.Pointer(),
        [](const SVArraySortingPair& pair) { return static_cast<std::int32_t>(pair.position); });
    return order;
}

template void Sort(SVMutableDoubleArray&);
template void Sort(SVMutableFloatArray&);
template void Sort(SVMutableIntArray&);
