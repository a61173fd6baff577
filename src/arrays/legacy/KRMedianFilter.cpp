#include "arrays/legacy/KRArrayFilters.h"
#include "arrays/legacy/KRNeighbourRows.h"
#include "arrays/legacy/KRWideLoops.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

using namespace krinternal;

namespace {

// As many entries as a register holds, for which medians are found at once.
template <class T>
struct Pack {
    typedef T Type __attribute__((vector_size(16)));
    static constexpr long kLength = 16 / static_cast<long>(sizeof(T));
};

template <class V>
[[gnu::always_inline]] inline V lower(const V& a, const V& b)
{
    return a < b ? a : b;
}
template <class V>
[[gnu::always_inline]] inline V upper(const V& a, const V& b)
{
    return a < b ? b : a;
}
template <class V>
[[gnu::always_inline]] inline void exchange(V& a, V& b)
{
    const V low = lower(a, b);
    b = upper(a, b);
    a = low;
}
template <class V>
[[gnu::always_inline]] inline V middle(const V& a, const V& b, const V& c)
{
    return upper(lower(a, b), lower(upper(a, b), c));
}

// Brings the smallest of the entries to the front and the largest to the back.
template <class V>
[[gnu::always_inline]] inline void separateExtremes(V* entries, int count)
{
    for (int i = 0; i < count / 2; ++i)
        exchange(entries[i], entries[count - 1 - i]);
    for (int i = 1; i < (count + 1) / 2; ++i)
        exchange(entries[0], entries[i]);
    for (int i = count / 2; i < count - 1; ++i)
        exchange(entries[i], entries[count - 1]);
}

// The entry number count/2 of the sorted ones. Of count/2 + 2 entries neither the smallest nor the largest
// can be it; both go, and the next entry comes in.
template <int count, class V>
V medianOf(V (&entries)[count])
{
    constexpr int kFirst = count / 2 + 2;
    int begin = 0, end = kFirst, next = kFirst;
    while (true) {
        separateExtremes(entries + begin, end - begin);
        ++begin;
        --end;
        if (next < count)
            entries[end++] = entries[next++];
        else if (end - begin <= 2)
            break;
    }
    // An odd count leaves one entry, an even one two.
    return end - begin == 1 ? entries[begin] : upper(entries[begin], entries[begin + 1]);
}

template <class T>
bool holdsNaN(const T* row, long count)
{
    if constexpr (std::is_floating_point_v<T>) {
        int found = 0; // Not a search that stops: this one takes a register of entries at a time.
        for (long i = 0; i < count; ++i)
            found |= row[i] != row[i];
        return found != 0;
    }
    return false;
}

template <class T>
T quietNaN()
{
    return std::numeric_limits<T>::quiet_NaN();
}

// The median of the columns from..to of the rows, one by one: for boundaries and rows with NaNs.
template <class T>
T singleMedian(const NeighbourRows<T>& rows, long from, long to)
{
    T entries[3 * kMostRows] = {};
    int count = 0;
    for (int r = 0; r < rows.count; ++r)
        for (long i = from; i <= to; ++i)
            entries[count++] = rows.row[r][i];
    if (holdsNaN(entries, count))
        return quietNaN<T>();
    std::nth_element(entries, entries + count / 2, entries + count);
    return entries[count / 2];
}

template <class T>
void singleMedians(const NeighbourRows<T>& rows, long m, long from, long to, T* result)
{
    for (long i = from; i < to; ++i)
        result[i] = singleMedian(rows, std::max(i - 1, 0L), std::min(i + 1, m - 1));
}

// The medians of a row without NaNs, but for its two ends, a pack at a time.
template <int rows, class T>
void packedMedians(const NeighbourRows<T>& neighbours, long m, T* to)
{
    using V = typename Pack<T>::Type;
    constexpr long kLength = Pack<T>::kLength;
    for (long next = 1; next < m - 1; next += kLength) {
        const long i = std::min(next, m - 1 - kLength); // The last pack overlaps the one before.
        V entries[3 * rows];
        for (int r = 0; r < rows; ++r)
            for (int w = 0; w < 3; ++w)
                std::memcpy(&entries[3 * r + w], neighbours.row[r] + i - 1 + w, sizeof(V));
        const V median = medianOf(entries);
        std::memcpy(to + i, &median, sizeof(V));
    }
}

// The medians of 3 x 3 entries. Each column is sorted once for the three entries that need it; the median is
// then the middle one of the largest low, the middle middle and the smallest high.
template <class T>
[[gnu::always_inline]] inline void sortedColumnMedians(const T* a, const T* b, const T* c, long length, T* to)
{
    constexpr long kPiece = 1024;
    T low[kPiece + 2], mid[kPiece + 2], high[kPiece + 2];
    for (long first = 0; first < length; first += kPiece) {
        const long count = std::min(kPiece, length - first);
        for (long i = 0; i < count + 2; ++i) {
            const T l = lower(a[first + i], b[first + i]), h = upper(a[first + i], b[first + i]);
            const T rest = lower(h, c[first + i]);
            high[i] = upper(h, c[first + i]);
            low[i] = lower(l, rest);
            mid[i] = upper(l, rest);
        }
        for (long i = 0; i < count; ++i) {
            const T largestLow = upper(upper(low[i], low[i + 1]), low[i + 2]);
            const T smallestHigh = lower(lower(high[i], high[i + 1]), high[i + 2]);
            to[first + i] = middle(largestLow, middle(mid[i], mid[i + 1], mid[i + 2]), smallestHigh);
        }
    }
}

// The median number i is of the columns i to i + 2.
KR_WIDE_LOOP void mediansOfThreeRows(const float* a, const float* b, const float* c, long length, float* to)
{
    sortedColumnMedians(a, b, c, length, to);
}

KR_WIDE_LOOP void mediansOfThreeRows(
    const std::uint16_t* a, const std::uint16_t* b, const std::uint16_t* c, long length, std::uint16_t* to)
{
    sortedColumnMedians(a, b, c, length, to);
}

// Which rows hold a NaN, found out when it is first asked.
template <class T>
class RowsWithNaN {
public:
    RowsWithNaN(long m, long rows) : m_(m), known_(rows) { known_ = Nothing; }
    bool hasMemory() const { return known_.NotEmpty(); }
    bool anyOf(const NeighbourRows<T>& rows)
    {
        bool found = false;
        for (int r = 0; r < rows.count; ++r)
            found = hasNaN(rows.row[r], rows.number[r]) || found;
        return found;
    }

private:
    enum Known : signed char { Nothing, Clean, NaN };
    bool hasNaN(const T* row, long number)
    {
        signed char& known = known_.Pointer()[number];
        if (known == Nothing)
            known = holdsNaN(row, m_) ? NaN : Clean;
        return known == NaN;
    }

    long m_;
    MutableCharacterArray known_; // Of each row.
};

template <class T>
bool medianFilter(const KRArray<T>& A, KRMutableArray<T>& M, const KRProgressCPP& progress)
{
    RowsWithNaN<T> withNaN(A.m(), A.n() * A.o());
    return withNaN.hasMemory()
        && filterRows(A, M, progress, [&](const NeighbourRows<T>& rows, long m, T* to) {
               if (m < Pack<T>::kLength + 2 || withNaN.anyOf(rows)) {
                   singleMedians(rows, m, 0, m, to);
                   return;
               }
               singleMedians(rows, m, 0, 1, to);
               singleMedians(rows, m, m - 1, m, to);
               if (rows.count == 3)
                   mediansOfThreeRows(rows.row[0], rows.row[1], rows.row[2], m - 2, to + 1);
               else
                   withRowCount(rows.count, [&]<int count>() { packedMedians<count>(rows, m, to); });
           });
}

} // namespace

template <KRMedianElement T>
bool MedianFilter(const KRArray<T>& A, KRMutableArray<T>& M, const KRProgressCPP& progress)
{
    return A.o() == 1 ? MedianFilter2D(A, M, progress) : MedianFilter3D(A, M, progress);
}

template <KRMedianElement T>
bool MedianFilter2D(const KRArray<T>& A, KRMutableArray<T>& M, const KRProgressCPP& progress)
{
    return isImage(A, 2) && haveSameSize(A, M) && medianFilter(A, M, progress);
}

template <KRMedianElement T>
bool MedianFilter3D(const KRArray<T>& A, KRMutableArray<T>& M, const KRProgressCPP& progress)
{
    return isVolume(A, 2) && haveSameSize(A, M) && medianFilter(A, M, progress);
}

#define KR_INSTANTIATE(T)                                                                                    \
    template bool MedianFilter(const KRArray<T>&, KRMutableArray<T>&, const KRProgressCPP&);                 \
    template bool MedianFilter2D(const KRArray<T>&, KRMutableArray<T>&, const KRProgressCPP&);               \
    template bool MedianFilter3D(const KRArray<T>&, KRMutableArray<T>&, const KRProgressCPP&);

KR_INSTANTIATE(float)
KR_INSTANTIATE(std::uint16_t)

#undef KR_INSTANTIATE
