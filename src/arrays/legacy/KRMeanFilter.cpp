#include "arrays/legacy/KRArrayFilters.h"
#include "arrays/legacy/KRNeighbourRows.h"

using namespace krinternal;

namespace {

// Of single precision in every form of the filter: results are compared with older ones to the last bit.
constexpr float factorFor(int points)
{
    switch (points) {
    case 4:
        return 0.25F;
    case 6:
        return 0.16666667F;
    case 8:
        return 0.125F;
    case 9:
        return 0.11111111F;
    case 12:
        return 0.083333333F;
    case 18:
        return 0.055555556F;
    default:
        return 0.037037037F; // 27.
    }
}

// The mean of `width` entries of each row from i on. The order of the additions is that of memory.
template <int rows, int width, class T>
[[gnu::always_inline]] inline T meanFrom(const T* const* row, long i)
{
    T sum = row[0][i];
#pragma GCC unroll 9
    for (int r = 0; r < rows; ++r)
#pragma GCC unroll 3
        for (int w = r == 0 ? 1 : 0; w < width; ++w)
            sum += row[r][i + w];
    return sum * static_cast<T>(factorFor(rows * width));
}

template <int rows, class T>
void meanRow(const NeighbourRows<T>& neighbours, long m, T* __restrict to)
{
    const T* row[rows];
    std::copy_n(neighbours.row, rows, row);
    to[0] = meanFrom<rows, 2>(row, 0);
    for (long i = 1; i < m - 1; ++i)
        to[i] = meanFrom<rows, 3>(row, i - 1);
    to[m - 1] = meanFrom<rows, 2>(row, m - 2);
}

template <class T>
bool meanFilter(const KRArray<T>& A, KRMutableArray<T>& M, const KRProgressCPP& progress)
{
    return filterRows(A, M, progress, [](const NeighbourRows<T>& rows, long m, T* to) {
        withRowCount(rows.count, [&]<int count>() { meanRow<count>(rows, m, to); });
    });
}

} // namespace

template <KRRealElement T>
bool MeanFilter(const KRArray<T>& A, KRMutableArray<T>& M, const KRProgressCPP& progress)
{
    return A.o() == 1 ? MeanFilter2D(A, M, progress) : MeanFilter3D(A, M, progress);
}

template <KRRealElement T>
bool MeanFilter2D(const KRArray<T>& A, KRMutableArray<T>& M, const KRProgressCPP& progress)
{
    return isImage(A, 2) && haveSameSize(A, M) && meanFilter(A, M, progress);
}

template <KRRealElement T>
bool MeanFilter3D(const KRArray<T>& A, KRMutableArray<T>& M, const KRProgressCPP& progress)
{
    return isVolume(A, 2) && haveSameSize(A, M) && meanFilter(A, M, progress);
}

#define KR_INSTANTIATE(T)                                                                                    \
    template bool MeanFilter(const KRArray<T>&, KRMutableArray<T>&, const KRProgressCPP&);                   \
    template bool MeanFilter2D(const KRArray<T>&, KRMutableArray<T>&, const KRProgressCPP&);                 \
    template bool MeanFilter3D(const KRArray<T>&, KRMutableArray<T>&, const KRProgressCPP&);

KR_INSTANTIATE(float)
KR_INSTANTIATE(double)

#undef KR_INSTANTIATE
