#include "arrays/sv/SVArrayConversion.h"

#include "arrays/kernels/SVStreamingCopy.h"
#include "arrays/sv/SVArrayInternal.h"

using namespace svinternal;

namespace {

// A number that doesn't fit is allowed here: the sanitizer must not report it.
template <class From, class To>
[[gnu::noinline]] __attribute__((no_sanitize("float-cast-overflow"))) void convert(
    To* to, long count, const From* from)
{
    for (long i = 0; i < count; ++i)
        to[i] = static_cast<To>(from[i]);
}

} // namespace

template <class From, class To, SVOnlyIf<!std::is_same_v<From, To>>>
void ConvertArray(const SVArray<From>& A, SVMutableArray<To>& M)
{
    if (!sameSize(A, M)) {
        SVErrorMessage("ConvertArray(A,B)", "Incompatible array sizes.");
        return;
    }
    computeBlock(M.Pointer(), A.Length(), convert<From, To>, A.Pointer());
}

#define SV_INSTANTIATE(From, To) template void ConvertArray(const SVArray<From>&, SVMutableArray<To>&);

#define SV_INSTANTIATE_FROM(From, To1, To2, To3, To4, To5, To6)                                              \
    SV_INSTANTIATE(From, To1)                                                                                \
    SV_INSTANTIATE(From, To2)                                                                                \
    SV_INSTANTIATE(From, To3)                                                                                \
    SV_INSTANTIATE(From, To4)                                                                                \
    SV_INSTANTIATE(From, To5)                                                                                \
    SV_INSTANTIATE(From, To6)

using SChar = signed char;
using UChar = unsigned char;
using Short = std::int16_t;
using UShort = std::uint16_t;
using Int = std::int32_t;

SV_INSTANTIATE_FROM(double, float, Int, Short, UShort, SChar, UChar)
SV_INSTANTIATE_FROM(float, double, Int, Short, UShort, SChar, UChar)
SV_INSTANTIATE_FROM(Int, double, float, Short, UShort, SChar, UChar)
SV_INSTANTIATE_FROM(Short, double, float, Int, UShort, SChar, UChar)
SV_INSTANTIATE_FROM(UShort, double, float, Int, Short, SChar, UChar)
SV_INSTANTIATE_FROM(SChar, double, float, Int, Short, UShort, UChar)
SV_INSTANTIATE_FROM(UChar, double, float, Int, Short, UShort, SChar)

#undef SV_INSTANTIATE
#undef SV_INSTANTIATE_FROM
