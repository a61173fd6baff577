#include "sv_testing.h"

#include "arrays/sv/SVArrayOperations.h"

#include <type_traits>

// What a member doesn't have must not compile for it; what it has must, and be found by the linker.

namespace {

template <class, template <class> class Use, class T>
struct Compiles : std::false_type { };
template <template <class> class Use, class T>
struct Compiles<std::void_t<Use<T>>, Use, T> : std::true_type { };

// One letter for each member that has the use, in the order of the family: "dfisuck" are all of them.
template <template <class> class Use>
std::string membersWith()
{
    std::string members;
    const auto add = [&members](bool has, const char* letter) { members += has ? letter : ""; };
    add(Compiles<void, Use, double>::value, "d");
    add(Compiles<void, Use, float>::value, "f");
    add(Compiles<void, Use, std::int32_t>::value, "i");
    add(Compiles<void, Use, std::int16_t>::value, "s");
    add(Compiles<void, Use, std::uint16_t>::value, "u");
    add(Compiles<void, Use, signed char>::value, "c");
    add(Compiles<void, Use, unsigned char>::value, "k");
    return members;
}

template <class T>
SVMutableArray<T> M; // Named in types only.
template <class T>
const SVArray<T>& A = M<T>;
const SVIntArray I;
const SVRange R;

// clang-format off
template <class T> using OfThoseThatArePrintedByRange = decltype(A<T>.Find(T()), A<T>.prange(0, 0), A<T>.pcrange(0, 0));
template <class T> using Signs = decltype(A<T>.psigns());
template <class T> using Arithmetic = decltype(M<T> *= T(), M<T> /= A<T>, M<T> += T(), M<T> -= A<T>);
template <class T> using Common = decltype(Transpose(A<T>), FlipJ(A<T>), IncreaseSize(A<T>, 0), TruncateSize(A<T>, 0), CopyValues(M<T>, A<T>), Swap(M<T>, M<T>));
template <class T> using OfFloating = decltype(Region(A<T>, R, R), Region(A<T>, R, R, R), Mean(A<T>));
template <class T> using Columns = decltype(Reshape(A<T>, 0, 0, 0), ExtractColumns(A<T>, R), ExtractColumns(A<T>, I), CopyIntoColumn(M<T>, A<T>, 0), CopyIntoColumns(M<T>, R, A<T>, R), CombineColumns(A<T>, A<T>), Sort(M<T>));
template <class T> using Indices = decltype(ExtractIndices(A<T>, R), ExtractIndices(A<T>, I));
template <class T> using Memory = decltype(MemoryCopy(M<T>, 0, A<T>));
template <class T> using MemoryByRange = decltype(MemoryMove(M<T>, 0, R), MemoryCopy(M<T>, 0, A<T>, R), MemoryCopyColumns(M<T>, 0, A<T>, R), MemoryMoveColumns(M<T>, 0, R));
template <class T> using MemoryByCount = decltype(MemoryMove(M<T>, 0, 0, 0), MemoryCopy(M<T>, 0, A<T>, 0, 0), MemoryCopyColumns(M<T>, 0, A<T>, 0, 0), MemoryMoveColumns(M<T>, 0, 0, 0));
template <class T> using Extrema = decltype(Minimum(A<T>), Maximum(A<T>), Minimum(A<T>, A<T>), Maximum(A<T>, T()));
template <class T> using Numeric = decltype(SubArray(A<T>, 0, 0, 0, 0, 0, 0), ExtractRows(A<T>, R), AddToColumnRange(M<T>, R, A<T>), InfinityNorm(A<T>), ContainsNonFinite(A<T>), FindIndexOfMaximum(A<T>), SortedOrder(A<T>));
template <class T> using Swapped = decltype(SwapEndian(M<T>));
template <class T> using ToChar = decltype(ConvertToChar(A<T>));
// clang-format on

} // namespace

TEST(ArrayMembers, HaveWhatTheTablesTell)
{
    EXPECT_EQ(membersWith<OfThoseThatArePrintedByRange>(), "dfi");
    EXPECT_EQ(membersWith<Signs>(), "dfic");
    EXPECT_EQ(membersWith<Arithmetic>(), "df");
    EXPECT_EQ(membersWith<Common>(), "dfisuck");
    EXPECT_EQ(membersWith<OfFloating>(), "df");
    EXPECT_EQ(membersWith<Columns>(), "dfi");
    EXPECT_EQ(membersWith<Indices>(), "dfisuc");
    EXPECT_EQ(membersWith<Memory>(), "dfis");
    EXPECT_EQ(membersWith<MemoryByRange>(), "dfs");
    EXPECT_EQ(membersWith<MemoryByCount>(), "i");
    EXPECT_EQ(membersWith<Extrema>(), "dfisuk");
    EXPECT_EQ(membersWith<Numeric>(), "d");
    EXPECT_EQ(membersWith<Swapped>(), "dfisu");
    EXPECT_EQ(membersWith<ToChar>(), "dfisuk");
    EXPECT_FALSE((std::is_constructible_v<SVMutableDoubleArray, const SVDoubleArray&>));
    EXPECT_FALSE((std::is_assignable_v<SVMutableDoubleArray&, const SVDoubleArray&>));
}
