#include "sv_testing.h"

#include "arrays/sv/SVArrayByteOrder.h"
#include "arrays/sv/SVArrayConversion.h"
#include "arrays/sv/SVArrayMeasures.h"
#include "arrays/sv/SVArraySorting.h"
#include "arrays/sv/SVIntArrayArithmetic.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <tuple>

using namespace svtest;

namespace {

template <class T>
SVMutableArray<T> randomArray(long length, std::minstd_rand& random)
{
    SVMutableArray<T> A(length);
    for (long i = 0; i < length; ++i)
        A(i) = static_cast<T>(static_cast<int>(random() % 120));
    return A;
}

} // namespace

SV_TYPED_TESTS(ArrayConversion, SV_ALL_TYPES);

TYPED_TEST(ArrayConversion, IsThatOfTheLanguage)
{
    using T = TypeParam;
    const SVArray<T> A = arrayOf<T>({T(0), T(1), T(100.75), T(127), T(33)});
    const auto convertTo = [&]<class To>(To) {
        if constexpr (!std::is_same_v<T, To>) {
            SVMutableArray<To> M(5), other(1, 5);
            ConvertArray(A, M);
            for (long i = 0; i < 5; ++i)
                EXPECT_EQ(M(i), static_cast<To>(A(i)));
            EXPECT_THAT(reportsOf([&] { ConvertArray(A, other); }),
                ElementsAre("ConvertArray(A,B): Incompatible array sizes."));
        }
    };
    std::apply([&](auto... types) { (convertTo(types), ...); }, std::tuple<SV_ALL_TYPES>());
}

TEST(ArrayConversions, MakeTheirTarget)
{
    const SVDoubleArray A = arrayOf<double>({1.9, -1.9, 3, 4}, 2);
    EXPECT_EQ(shown(ConvertToInt(A)), "2x2x1: 1 -1 3 4");
    EXPECT_EQ(shown(ConvertToShortInt(ConvertToFloat(A))), "2x2x1: 1 -1 3 4");
    EXPECT_EQ(shown(ConvertToUShortInt(ConvertToShortInt(A))), "2x2x1: 1 65535 3 4");
    EXPECT_EQ(shown(ConvertToDouble(ConvertToUChar(ConvertToInt(A)))), "2x2x1: 1 255 3 4");
    EXPECT_TRUE(ConvertToDouble(SVFloatArray()).IsEmpty());
    ConvertToInt(arrayOf<double>(
        {kNaN, kInf, 1e300, -1e300})); // The result is not defined, but it must not end the program.
}

// Large results are computed in pieces and bypass the caches.
TEST(LargeArrays, AreComputedAsSmallOnesAre)
{
    const long length = (33L << 20) + 13;
    SVMutableUCharArray bytes(length);
    for (long i = 0; i < length; ++i)
        bytes(i) = static_cast<unsigned char>(i * 7 + (i >> 12));
    const SVDoubleArray A = ConvertToDouble(bytes);
    EXPECT_TRUE(ConvertToUChar(A) == bytes);
    const SVDoubleArray limited = Maximum(Minimum(A, 200), 100);
    const SVIntArray I = ConvertToInt(bytes), sum = 3 + I - I;
    SVMutableIntArray filled(length);
    filled = 3;
    EXPECT_TRUE(sum == filled);
    long wrong = 0;
    for (long i = 0; i < length; ++i)
        wrong += limited(i) != std::clamp(A(i), 100.0, 200.0);
    EXPECT_EQ(wrong, 0);
}

SV_TYPED_TESTS(ArrayExtrema, double, float, std::int32_t, std::int16_t, std::uint16_t, unsigned char);

// The lengths lie around the number of lanes.
TYPED_TEST(ArrayExtrema, AgreeWithTheSlowWay)
{
    std::minstd_rand random(7);
    for (long length = 1; length < 141; ++length) {
        if (length == 140)
            length = 40000; // Longer than the blocks in which a position is looked for.
        const SVArray<TypeParam> A = randomArray<TypeParam>(length, random);
        const std::vector<TypeParam> values = valuesOf(A);
        const auto smallest = std::min_element(values.begin(), values.end());
        const auto largest = std::max_element(values.begin(), values.end());
        long at = -2;
        ASSERT_TRUE(Minimum(A) == *smallest && Maximum(A) == *largest) << length;
        ASSERT_TRUE(Minimum(A, &at) == *smallest && at == smallest - values.begin()) << length;
        ASSERT_TRUE(Maximum(A, &at) == *largest && at == largest - values.begin()) << length;
    }
}

TYPED_TEST(ArrayExtrema, CompareEntryByEntry)
{
    const SVArray<TypeParam> A = arrayOf<TypeParam>({1, 5, 3, 7}, 2), B = arrayOf<TypeParam>({2, 4, 3, 9}, 2);
    EXPECT_EQ(shown(Minimum(A, B)) + shown(Maximum(A, B)), "2x2x1: 1 4 3 72x2x1: 2 5 3 9");
    EXPECT_EQ(shown(Minimum(A, 4)) + shown(Maximum(A, 4)), "2x2x1: 1 4 3 42x2x1: 4 5 4 7");
    EXPECT_EQ(shown(Maximum(A, 0)), "2x2x1: 1 5 3 7");
    const std::string word = SVArrayMemberOf<TypeParam>.classWord;
    EXPECT_THAT(reportsOf([&] {
        EXPECT_TRUE(Minimum(A, SVArray<TypeParam>()).IsEmpty());
        EXPECT_TRUE(Maximum(A, counting<TypeParam>(4)).IsEmpty());
    }),
        ElementsAre("Minimum(" + word + "," + word + "): Need to have the same size",
            "Maximum(" + word + "," + word + "): Need to have the same size"));
}

TEST(ArrayMeasures, OfDoubles)
{
    long bound = 4; // A long is a number to compare with, not a position to write to.
    EXPECT_EQ(shown(Minimum(counting<double>(6), static_cast<double>(bound))), "6x1x1: 0 1 2 3 4 4");
    EXPECT_TRUE((std::is_same_v<decltype(Minimum(SVDoubleArray(), bound)), SVMutableDoubleArray>));
    const SVDoubleArray A = arrayOf<double>({3, kNaN, -8, 7, kNaN, 7}), none;
    EXPECT_EQ(Minimum(A), -8);
    EXPECT_EQ(FindIndexOfMaximum(A), 3);
    EXPECT_EQ(FindIndexOfMaximum(none), -1);
    EXPECT_EQ(InfinityNorm(A), 8);
    EXPECT_TRUE(std::isnan(Minimum(arrayOf<double>({kNaN, 1, 2}))));
    long at = 5;
    EXPECT_EQ(Mean(none) + Maximum(none) + Minimum(none, &at), 0);
    EXPECT_EQ(at, -1);
    EXPECT_EQ(Mean(counting<double>(101)), 50);
    SVMutableFloatArray many(3000000);
    many = 0.1F;
    EXPECT_FLOAT_EQ(Mean(many), 0.1F) << "a sum in single precision is off by percents";
}

TEST(ArrayMeasures, FindWhatIsNotFinite)
{
    SVMutableDoubleArray A(10000);
    A = std::numeric_limits<double>::max();
    EXPECT_FALSE(ContainsNonFinite(A));
    for (const double bad : {kNaN, kInf, -kInf}) {
        for (const long at : {0L, 4095L, 4096L, 9999L}) {
            SVMutableDoubleArray B = A.Copy();
            B(at) = bad;
            EXPECT_TRUE(ContainsNonFinite(B)) << bad << " at " << at;
        }
    }
    EXPECT_FALSE(ContainsNonFinite(SVDoubleArray()));
}

TEST(IntEntries, AreFound)
{
    const SVIntArray sorted = arrayOf<std::int32_t>({-4, 0, 0, 3, 9});
    for (int v = -6; v < 12; ++v)
        EXPECT_EQ(FindEntryInSorted(sorted, v), FindEntry(sorted, v)) << v;
    EXPECT_EQ(FindEntry(sorted, 0), 1);
    EXPECT_EQ(Range(arrayOf<std::int32_t>({5, -3, 2})).start, -3);
    EXPECT_EQ(Range(arrayOf<std::int32_t>({INT32_MIN, INT32_MAX})).length, 1L << 32);
}

SV_TYPED_TESTS(ArraySorting, double, float, std::int32_t);

TYPED_TEST(ArraySorting, Ascends)
{
    std::minstd_rand random(3);
    SVMutableArray<TypeParam> A = randomArray<TypeParam>(1000, random);
    std::vector<TypeParam> values = valuesOf(A);
    Sort(A);
    std::sort(values.begin(), values.end());
    EXPECT_EQ(valuesOf(A), values);
}

// Without a strict order of NaNs the standard sort would read outside of its array.
TEST(ArraySort, PutsNaNsLast)
{
    std::minstd_rand random(5);
    SVMutableDoubleArray A(500);
    SVMutableIntArray I(500);
    for (long i = 0; i < 500; ++i) {
        A(i) = random() % 3 == 0 ? kNaN : static_cast<double>(random() % 100);
        I(i) = static_cast<int>(i);
    }
    const SVDoubleArray before = A.Copy();
    const SVIntArray order = SortedOrder(A);
    SVMutableDoubleArray alone = A.Copy();
    Sort(alone);
    Sort(A, I);
    std::vector<bool> seen(500, false);
    for (long i = 0; i < 500; ++i) {
        for (const double carried : {before(I(i)), before(order(i)), alone(i)})
            EXPECT_TRUE(carried == A(i) || (std::isnan(carried) && std::isnan(A(i)))) << i;
        EXPECT_TRUE(i == 0 || std::isnan(A(i)) || A(i - 1) <= A(i)) << i;
        seen[static_cast<std::size_t>(order(i))] = true;
    }
    EXPECT_EQ(std::count(seen.begin(), seen.end(), true), 500);
    SVMutableIntArray other(3);
    EXPECT_THAT(reportsOf([&] { Sort(A, other); }), ElementsAre("SortDoubleAndInt: Incompatible sizes."));
}

TEST(IntArithmetic, WorksEntryByEntryAndSurvivesEveryNumber)
{
    const SVIntArray A = arrayOf<std::int32_t>({7, -8, 9}), B = arrayOf<std::int32_t>({2, 3, -4});
    const std::pair<SVIntArray, std::vector<std::int32_t>> results[] = {{A + B, {9, -5, 5}},
        {A - B, {5, -11, 13}}, {A * B, {14, -24, -36}}, {A / B, {3, -2, -2}}, {A + 1, {8, -7, 10}},
        {A - 1, {6, -9, 8}}, {1 - A, {-6, 9, -8}}, {2 * A, {14, -16, 18}}, {A / 2, {3, -4, 4}},
        {12 / B, {6, 4, -3}}, {-A, {-7, 8, -9}}};
    for (const auto& [result, wanted] : results)
        EXPECT_EQ(valuesOf(result), wanted);
    const SVIntArray C = counting<std::int32_t>(1, 3);
    EXPECT_THAT(reportsOf([&] { EXPECT_EQ((A + C).m() + (A - C).m() + (A * C).m() + (A / C).m(), 0); }),
        ElementsAre("A+B: Incompatible sizes.", "A-B: Incompatible sizes.", "A*B: Incompatible sizes.",
            "A/B: Incompatible sizes."));

    // The processor ends a program for such a division, and signed overflow is undefined.
    const SVIntArray extremes = arrayOf<std::int32_t>({INT32_MIN, INT32_MAX, 0});
    EXPECT_EQ(shown(extremes / 0), "3x1x1: 0 0 0");
    for (const SVIntArray& opposite : {extremes / -1, -extremes})
        EXPECT_EQ(shown(opposite), "3x1x1: -2147483648 -2147483647 0");
    EXPECT_EQ(shown(extremes + extremes) + shown(extremes * extremes), "3x1x1: 0 -2 03x1x1: 0 1 0");
}

SV_TYPED_TESTS(ByteOrder, double, float, std::int32_t, std::int16_t, std::uint16_t);

TYPED_TEST(ByteOrder, ReversesTheBytesOfEachElement)
{
    SVMutableArray<TypeParam> A(11); // Not a whole number of the words that are swapped at once.
    auto* const bytes = reinterpret_cast<unsigned char*>(A.Pointer());
    std::iota(bytes, bytes + 11 * sizeof(TypeParam), static_cast<unsigned char>(0));
    SwapEndian(A);
    for (std::size_t i = 0; i < 11 * sizeof(TypeParam); ++i)
        EXPECT_EQ(bytes[i], (i / sizeof(TypeParam) + 1) * sizeof(TypeParam) - 1 - i % sizeof(TypeParam));
}

TEST(ByteGroups, AreSwappedWhereTheyDivideTheFirstDimension)
{
    SVMutableUCharArray A = counting<unsigned char>(8, 2);
    Swap2Bytes(A);
    EXPECT_EQ(shown(A), "8x2x1: 1 0 3 2 5 4 7 6 9 8 11 10 13 12 15 14");
    Swap4Bytes(A);
    EXPECT_EQ(shown(A), "8x2x1: 2 3 0 1 6 7 4 5 10 11 8 9 14 15 12 13");
    Swap8Bytes(A);
    EXPECT_EQ(shown(A), "8x2x1: 5 4 7 6 1 0 3 2 13 12 15 14 9 8 11 10");
    SVMutableUCharArray odd = counting<unsigned char>(3, 8);
    EXPECT_THAT(reportsOf([&] {
        Swap2Bytes(odd);
        Swap4Bytes(odd);
        Swap8Bytes(odd);
    }),
        ElementsAre("Swap2Bytes(UCharArray): First array dimension needs to be even.",
            "Swap4Bytes(UCharArray): First array dimension needs to be divisible by 4.",
            "Swap8Bytes(UCharArray): First array dimension needs to be divisible by 8."));
    EXPECT_TRUE(odd == counting<unsigned char>(3, 8));
}
