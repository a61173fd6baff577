#include "arrays/sv/SVArrayShape.h"

#include "arrays/kernels/SVElementCount.h"
#include "arrays/kernels/SVTransposition.h"
#include "arrays/sv/SVArrayInternal.h"

#include <algorithm>
#include <type_traits>

using namespace svinternal;

namespace {

template <class T>
SVMutableArray<T> joinedColumns(const SVArray<T>& A, const SVArray<T>& B, long fromSecond, const char* word)
{
    if (A.m() != B.m())
        return failed<T>(word, "A and B have to have the same number of rows.");
    if (A.o() > 1 || B.o() > 1)
        return failed<T>(word, "A and B have to be two dimensional.");
    if (fromSecond < 0 || fromSecond > B.n())
        return failed<T>(word, "Too many columns specified.");
    SVMutableArray<T> result(A.m(), A.n() + fromSecond);
    copyElements(A.Pointer(), A.Length(), result.Pointer());
    copyElements(B.Pointer(), fromSecond * B.m(), result.Pointer() + A.Length());
    return result;
}

} // namespace

template <class T>
SVMutableArray<T> Transpose(const SVArray<T>& A)
{
    const bool isMatrix = A.o() <= 1;
    SVMutableArray<T> result(isMatrix ? A.n() : A.o(), isMatrix ? A.m() : A.n(), isMatrix ? A.o() : A.m());
    transpose(A.Pointer(), A.m(), A.n(), A.o(), result.Pointer());
    return result;
}

template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Reshape)>>
SVMutableArray<T> Reshape(const SVArray<T>& A, long m, long n, long o)
{
    const std::string word = words<T>("Reshape(SV", "Array,...)");
    // Not for int: one negative dimension makes the size wrong, and two are reported by the constructor of
    // the array.
    constexpr bool testsForNegative = !std::is_same_v<T, std::int32_t>;
    if (testsForNegative && (m < 0 || n < 0 || o < 0))
        return failed<T>(word, "One of the new dimensions is negative.");
    if (!isElementCount(A.Length(), m, n, o))
        return failed<T>(word, "Size before and after need to be the same.");
    SVMutableArray<T> result(m, n, o);
    copyElements(A.Pointer(), result.Length(), result.Pointer());
    return result;
}

template <class T>
SVMutableArray<T> TruncateSize(const SVArray<T>& A, long length)
{
    constexpr const char* word = "TruncateSize(Array,Length)";
    if (length == 0)
        return SVMutableArray<T>();
    if (A.IsEmpty())
        return failed<T>(word, "Array is empty.");
    long m = length, n = 1, o = 1;
    if (A.o() >= 2) {
        m = A.m();
        n = A.n();
        o = length / (m * n);
    } else if (A.n() >= 2) {
        m = A.m();
        n = length / m;
    }
    if (length % (A.o() >= 2 ? m * n : m) != 0)
        return failed<T>(word, "Invalid new dimension");
    SVMutableArray<T> result(m, n, o);
    copyElements(A.Pointer(), std::min(result.Length(), A.Length()), result.Pointer());
    return result;
}

template <class T>
SVMutableArray<T> IncreaseSize(const SVArray<T>& A, long length)
{
    constexpr const char* word = "IncreaseSize(Array,Length)";
    if (length < 0) // 0 is allowed, although the text says ">0".
        return failed<T>(word, "Length needs to be >0.");
    long m = A.m(), n = A.n(), o = A.o();
    if (o >= 2) {
        if (length % (m * n) != 0)
            return failed<T>(word, "Length needs to be a multiple of m*n");
        o = sumOfCounts(o, length / (m * n));
    } else if (n >= 2) {
        if (length % m != 0)
            return failed<T>(word, "Length needs to be a multiple of m");
        n = sumOfCounts(n, length / m);
    } else {
        m = sumOfCounts(m, length);
        n = o = 1;
    }
    SVMutableArray<T> result(m, n, o);
    copyElements(A.Pointer(), A.Length(), result.Pointer());
    return result;
}

template <class T>
SVMutableArray<T> FlipJ(const SVArray<T>& A)
{
    const long m = A.m(), n = A.n();
    SVMutableArray<T> result(m, n, A.o());
    for (long k = 0; k < A.o(); ++k)
        for (long j = 0; j < n; ++j)
            copyElements(A.Pointer() + (k * n + j) * m, m, result.Pointer() + (k * n + n - 1 - j) * m);
    return result;
}

template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Columns)>>
SVMutableArray<T> CombineColumns(const SVArray<T>& A, const SVArray<T>& B)
{
    return joinedColumns(A, B, B.n(), "CombineColumns(A,B)");
}

SVMutableFloatArray CombineColumns(const SVFloatArray& A, const SVFloatArray& B, long fromSecond)
{
    return joinedColumns(A, B, fromSecond, "CombineColumns(A,B,fromSecond)");
}

SVMutableIntArray CombineRows(const SVIntArray& A, const SVIntArray& B)
{
    constexpr const char* word = "CombineRows(A,B)";
    if (A.n() != B.n())
        return failed<std::int32_t>(word, "A and B have to have the same number of columns.");
    if (A.o() > 1 || B.o() > 1)
        return failed<std::int32_t>(word, "A and B have to be one or two dimensional.");
    SVMutableIntArray result(A.m() + B.m(), A.n());
    std::int32_t* to = result.Pointer();
    for (long j = 0; j < A.n(); ++j) {
        copyElements(A.Pointer() + j * A.m(), A.m(), to);
        copyElements(B.Pointer() + j * B.m(), B.m(), to + A.m());
        to += A.m() + B.m();
    }
    return result;
}

#define SV_INSTANTIATE(T)                                                                                    \
    template SVMutableArray<T> Transpose(const SVArray<T>&);                                                 \
    template SVMutableArray<T> TruncateSize(const SVArray<T>&, long);                                        \
    template SVMutableArray<T> IncreaseSize(const SVArray<T>&, long);                                        \
    template SVMutableArray<T> FlipJ(const SVArray<T>&);

#define SV_INSTANTIATE_WIDE(T)                                                                               \
    template SVMutableArray<T> Reshape(const SVArray<T>&, long, long, long);                                 \
    template SVMutableArray<T> CombineColumns(const SVArray<T>&, const SVArray<T>&);

SV_INSTANTIATE(double)
SV_INSTANTIATE(float)
SV_INSTANTIATE(std::int32_t)
SV_INSTANTIATE(std::int16_t)
SV_INSTANTIATE(std::uint16_t)
SV_INSTANTIATE(signed char)
SV_INSTANTIATE(unsigned char)
SV_INSTANTIATE_WIDE(double)
SV_INSTANTIATE_WIDE(float)
SV_INSTANTIATE_WIDE(std::int32_t)

#undef SV_INSTANTIATE
#undef SV_INSTANTIATE_WIDE
