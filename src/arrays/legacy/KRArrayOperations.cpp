#include "arrays/legacy/KRArrayOperations.h"

#include "arrays/kernels/SVElementCopy.h"
#include "arrays/kernels/SVTransposition.h"
#include "arrays/legacy/KRArrayInternal.h"
#include "arrays/legacy/KRArrayReports.h"

#include <limits>
#include <memory>
#include <new>

using namespace krinternal;
using svinternal::copyElements;

namespace {

template <class T>
KRMutableArray<T> failed(const std::string& message)
{
    KRPutErrorMessage(message);
    return KRMutableArray<T>();
}

// Whether the range lies in [0,size). Compared by subtraction: start + length can wrap.
bool liesIn(const SVRange& range, long size)
{
    return range.start >= 0 && range.length >= 0 && range.start <= size && range.length <= size - range.start;
}

// The array of this size that begins with the elements of A, as many as fit.
template <class T>
KRMutableArray<T> resized(const KRArray<T>& A, long m, long n, long o)
{
    KRMutableArray<T> result(m, n, o);
    copyElements(A.Pointer(), std::min(result.Length(), A.Length()), result.Pointer());
    return result;
}

template <class T>
KRMutableArray<T> badRegion()
{
    return failed<T>(
        std::string("Region of ") + KRArrayMemberOf<T>.regionWord + " array, incorrect offsets.");
}

// Of counts that are not negative. The largest count in the place of one beyond 64 bits: no block is so
// large.
long sumUpToLargest(long a, long b)
{
    return a > std::numeric_limits<long>::max() - b ? std::numeric_limits<long>::max() : a + b;
}

} // namespace

namespace krinternal {

IncreasedSize increasedSize(long m, long n, long o, long length)
{
    if (length < 0) // 0 is allowed, although the text says ">0".
        return {m, n, o, "Length needs to be >0."};
    if (o >= 2) {
        if (length % (m * n) != 0)
            return {m, n, o, "Length needs to be a multiple of m*n"};
        return {m, n, sumUpToLargest(o, length / (m * n))};
    }
    if (n >= 2) {
        if (length % m != 0)
            return {m, n, o, "Length needs to be a multiple of m"};
        return {m, sumUpToLargest(n, length / m), 1};
    }
    return {sumUpToLargest(m, length), 1, 1};
}

} // namespace krinternal

template <class T>
KRMutableArray<T> Transpose(const KRArray<T>& A)
{
    const bool isMatrix = A.o() <= 1;
    KRMutableArray<T> result(isMatrix ? A.n() : A.o(), isMatrix ? A.m() : A.n(), isMatrix ? A.o() : A.m());
    if (result.Length() == A.Length())
        svinternal::transpose(A.Pointer(), A.m(), A.n(), A.o(), result.Pointer());
    return result;
}

template <class T>
KRMutableArray<T> ExtractColumns(const KRArray<T>& A, long n)
{
    const KRArrayMember& member = KRArrayMemberOf<T>;
    if (A.o() > 1)
        return failed<T>(std::string("ExtractColumns: Can only extract columns from a 2D array.")
            + member.notMatrixSuffix);
    if (n > A.n())
        return failed<T>(std::string("ExtractColumns: Asking for too many columns.  Returning empty.")
            + member.tooManySuffix);
    return resized(A, A.m(), n, 1);
}

template <class T>
KRMutableArray<T> CropLength(const KRArray<T>& A, long len)
{
    const std::string word = "CropLength(" + className<T>() + ",len): ";
    if (len > A.Length())
        return failed<T>(word + "len>length of array.");
    if (len < 0)
        return failed<T>(word + "len<0.");
    return resized(A, len, 1, 1);
}

template <class T>
KRMutableArray<T> TruncateSize(const KRArray<T>& A, long len)
{
    const std::string word = "TruncateSize(Array,Length): ";
    if (len == 0)
        return KRMutableArray<T>();
    if (A.IsEmpty())
        return failed<T>(word + "Array is empty.");
    if (len < 0 || len > A.Length())
        return failed<T>(word + "Invalid length.");
    // What the length has to be whole multiples of.
    const long part = A.o() >= 2 ? A.m() * A.n() : A.n() >= 2 ? A.m() : 1;
    if (len % part != 0)
        return failed<T>(word + "Invalid new dimension");
    if (A.o() >= 2)
        return resized(A, A.m(), A.n(), len / part);
    return A.n() >= 2 ? resized(A, A.m(), len / part, 1) : resized(A, len, 1, 1);
}

template <class T>
KRMutableArray<T> IncreaseSize(const KRArray<T>& A, long len)
{
    const auto larger = increasedSize(A, len);
    if (larger.failure)
        return failed<T>(std::string("IncreaseSize(Array,Length): ") + larger.failure);
    return resized(A, larger.m, larger.n, larger.o);
}

template <class T>
requires KRElementWithRegion<T> KRMutableArray<T> Region(
    const KRArray<T>& A, const SVRange& Ri, const SVRange& Rj, const SVRange& Rk)
{
    if (Ri.length < 1 || Rj.length < 1 || Rk.length < 1)
        return KRMutableArray<T>();
    if (!liesIn(Ri, A.m()) || !liesIn(Rj, A.n()) || !liesIn(Rk, A.o()))
        return badRegion<T>();
    KRMutableArray<T> result(Ri.length, Rj.length, Rk.length);
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

template <class T>
requires KRElementWithRegion<T> KRMutableArray<T> RegionOfIndices(const KRArray<T>& A, const SVRange& R)
{
    if (R.length < 1)
        return KRMutableArray<T>();
    if (!liesIn(R, A.Length()))
        return badRegion<T>();
    KRMutableArray<T> result(R.length);
    copyElements(A.Pointer() + R.start, result.Length(), result.Pointer());
    return result;
}

void Sort(MutableDoubleArray& M, MutableIntArray& I)
{
    if (!haveSameSize(M, I)) {
        KRPutErrorMessage("SortDoubleAndInt: Incompatible sizes.");
        return;
    }
    struct Entry {
        double number;
        std::int32_t index;
    };
    const long length = M.Length();
    const std::unique_ptr<Entry[]> entries(new (std::nothrow) Entry[static_cast<std::size_t>(length)]);
    if (!entries) {
        KRPutErrorMessage(kMemoryAllocationFailed);
        return;
    }
    for (long i = 0; i < length; ++i)
        entries[static_cast<std::size_t>(i)] = {M.Pointer()[i], I.Pointer()[i]};
    std::sort(entries.get(), entries.get() + length, [](const Entry& a, const Entry& b) {
        return a.number < b.number || (std::isnan(b.number) && !std::isnan(a.number));
    });
    for (long i = 0; i < length; ++i) {
        M.Pointer()[i] = entries[static_cast<std::size_t>(i)].number;
        I.Pointer()[i] = entries[static_cast<std::size_t>(i)].index;
    }
}

#define KR_INSTANTIATE(T)                                                                                    \
    template KRMutableArray<T> Transpose(const KRArray<T>&);                                                 \
    template KRMutableArray<T> ExtractColumns(const KRArray<T>&, long);                                      \
    template KRMutableArray<T> CropLength(const KRArray<T>&, long);                                          \
    template KRMutableArray<T> TruncateSize(const KRArray<T>&, long);                                        \
    template KRMutableArray<T> IncreaseSize(const KRArray<T>&, long);

#define KR_INSTANTIATE_REGION(T)                                                                             \
    template KRMutableArray<T> Region(const KRArray<T>&, const SVRange&, const SVRange&, const SVRange&);    \
    template KRMutableArray<T> RegionOfIndices(const KRArray<T>&, const SVRange&);

KR_INSTANTIATE(double)
KR_INSTANTIATE(float)
KR_INSTANTIATE(std::int32_t)
KR_INSTANTIATE(std::int64_t)
KR_INSTANTIATE(std::uint64_t)
KR_INSTANTIATE(std::int16_t)
KR_INSTANTIATE(std::uint16_t)
KR_INSTANTIATE(signed char)
KR_INSTANTIATE(unsigned char)
KR_INSTANTIATE(KRComplexNumber)
KR_INSTANTIATE_REGION(double)
KR_INSTANTIATE_REGION(std::int32_t)
KR_INSTANTIATE_REGION(std::int64_t)
KR_INSTANTIATE_REGION(signed char)
KR_INSTANTIATE_REGION(unsigned char)

#undef KR_INSTANTIATE
#undef KR_INSTANTIATE_REGION
