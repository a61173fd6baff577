#include "sv_testing.h"

#include "arrays/sv/SVDoubleArray.h"

#include <cmath>
#include <new>
#include <tuple>
#include <type_traits>

using namespace svtest;

SV_TYPED_TESTS(ArrayHandles, SV_ALL_TYPES);

TYPED_TEST(ArrayHandles, ClampDimensionsAndFailToAllocateASizeBeyond64Bits)
{
    const std::vector<std::vector<long>> sizes{{5, 0, 1}, {0, 0, 7}, {-1, 3, 1}, {1L << 40, 1L << 40, 0}};
    outcomeOf([&] {
        for (const auto& size : sizes) {
            const SVMutableArray<TypeParam> A(size[0], size[1], size[2]);
            EXPECT_EQ(sizeOf(A), (std::vector<long>{0, 0, 0}));
            EXPECT_TRUE(A.IsEmpty() && A.Length() == 0 && A.Pointer() == nullptr);
        }
    });

    // A product that wraps would give a small block behind large dimensions.
    const long big = 1L << 32;
    const std::vector<std::vector<long>> tooLarge{
        {big, big, 1}, {big, big, 4}, {big, 1, big}, {kMost, 2, 1}, {kMost, kMost, kMost}, {3, kMost / 2, 1}};
    for (const auto& size : tooLarge)
        EXPECT_THROW(SVMutableArray<TypeParam>(size[0], size[1], size[2]), std::bad_alloc);
}

TYPED_TEST(ArrayHandles, ReportABadIndexInTheWordsOfTheirClass)
{
    const SVArray<TypeParam> A = counting<TypeParam>(3, 4, 2), none;
    const std::string word = SVArrayMemberOf<TypeParam>.classWord;
    EXPECT_THAT(reportsOf([&] {
        EXPECT_TRUE(A(24) == 0 && A(-1) == 0 && A(0, 4) == 0 && A(kMost, kMost) == 0 && A(0, -2, 0) == 0);
        EXPECT_EQ(none(0, 0, 0), TypeParam(0));
        A.PrintErrorMessage(24), A.PrintErrorMessage(0, 4), A.PrintErrorMessage(0, -2, 0);
    }),
        ElementsAre(word + "(24) is not valid, needs to be lie in [0,23].",
            word + "(-1) is not valid, needs to be lie in [0,23].",
            word + "(0,4) is not valid, needs to lie in [0,2]x[0,3].",
            word + "(9223372036854775807,9223372036854775807) is not valid, needs to lie in [0,2]x[0,3].",
            word + "(0,-2,0) is not valid, needs to lie in [0,2]x[0,3]x[0,1].",
            word + "(0,0,0) is not valid, needs to lie in [0,-1]x[0,-1]x[0,-1].",
            word + "(24) is not valid, needs to be lie in [0,23].",
            word + "(0,4) is not valid, needs to lie in [0,2]x[0,3].",
            word + "(0,-2,0) is not valid, needs to lie in [0,2]x[0,3]x[0,1]."));
}

TYPED_TEST(ArrayHandles, TakeABadWriteIntoTheirInvalidEntry)
{
    SVMutableArray<TypeParam> A = counting<TypeParam>(3);
    const SVMutableArray<TypeParam> copy(A);
    EXPECT_EQ(reportsOf([&] {
        A(10) = 7;
        EXPECT_EQ(A(3, 3), 7);
        EXPECT_EQ(A(0, 0, 9), 7);
        EXPECT_EQ(copy(10), 0) << "the entry is the handle's own";
    }).size(),
        4U);
    EXPECT_EQ(valuesOf(A), (std::vector<TypeParam>{0, 1, 2}));
}

// The optimiser must not drop, double or merge reports.
TYPED_TEST(ArrayHandles, ReportEachBadAccessOnce)
{
    SVMutableArray<TypeParam> A(2, 2);
    const SVArray<TypeParam> R = A;
    const auto reports = reportsOf([&] {
        A(10);
        R(10);
        double sum = R(10) + R(10);
        for (int i = 0; i < 5; ++i)
            sum += R(7, 1) + A(1, 2, 3);
        A(3, 3) = A(3, 3) = 4;
    });
    EXPECT_EQ(reports.size(), 16U);
}

namespace {

// Not inlined, so that the optimiser sees only the accesses and the reading of the list.
template <class T>
[[gnu::noinline]] long firstBadPosition(const SVArray<T>& A, const std::vector<std::string>& reports)
{
    const std::size_t before = reports.size();
    for (long i = 0; i < 9; ++i) {
        (void)A(i);
        if (reports.size() != before)
            return i;
    }
    return -1;
}

} // namespace

TYPED_TEST(ArrayHandles, ShowTheReportToTheNextStatement)
{
    const SVArray<TypeParam> A = counting<TypeParam>(3);
    const std::string word = SVArrayMemberOf<TypeParam>.classWord;
    const auto reports = reportsOf([&] {
        EXPECT_EQ(firstBadPosition(A, SVErrorList()), 3);
        SVErrorMessage("between");
        SVErrorMessage("them");
        EXPECT_EQ(firstBadPosition(A, SVErrorList()), 3);
    });
    const std::string report = word + "(3) is not valid, needs to be lie in [0,2].";
    EXPECT_THAT(reports, ElementsAre(report, "between", "them", report));
}

TYPED_TEST(ArrayHandles, ShareTheirBlockAndCountTheHandles)
{
    SVMutableArray<TypeParam> A = counting<TypeParam>(3);
    SVArray<TypeParam> last;
    {
        SVArray<TypeParam> R;
        EXPECT_EQ(R.MutableReferences(), 0);
        R = A;
        SVMutableArray<TypeParam> B(A), C;
        C = B;
        EXPECT_EQ(R.ReferenceCount(), 4);
        EXPECT_EQ(R.MutableReferences(), 3);
        const SVArray<TypeParam>& self = R;
        R = self;
        R = B;
        C = A;
        EXPECT_EQ(R.ReferenceCount(), 4) << "handles on one storage, assigned to each other";
        B(0) = 9;
        EXPECT_EQ(R(0), 9);
        const SVMutableArray<TypeParam> independent = R.Copy();
        B(0) = 8;
        EXPECT_EQ(independent(0), 9);
        EXPECT_EQ(sizeOf(independent), sizeOf(R));
        C = independent;
        EXPECT_EQ(R.MutableReferences(), 2);
        EXPECT_EQ(independent.ReferenceCount(), 2);
        last = independent;
    }
    EXPECT_EQ(A.ReferenceCount() + A.MutableReferences(), 2);
    EXPECT_EQ(last.MutableReferences(), 0);
    SVMutableArray<TypeParam> other = counting<TypeParam>(2, 2);
    Swap(A, other);
    EXPECT_EQ(A(1, 1), 3);
    EXPECT_EQ(A.ReferenceCount() + A.MutableReferences() + other.ReferenceCount(), 3);
    EXPECT_FALSE((std::is_constructible_v<SVMutableArray<TypeParam>, const SVArray<TypeParam>&>));
    EXPECT_FALSE((std::is_assignable_v<SVMutableArray<TypeParam>&, const SVArray<TypeParam>&>));
    EXPECT_EQ(last(0), 9) << "the block lives with its last handle";
}

TYPED_TEST(ArrayHandles, FillAndCompareByBytes)
{
    SVMutableArray<TypeParam> A(2, 3), B(2, 3), C(3, 2), empty;
    A = 5;
    C = 5;
    EXPECT_EQ(valuesOf(A), std::vector<TypeParam>(6, 5));
    EXPECT_FALSE(A == C) << "the same elements, another shape";
    B = A.Copy();
    EXPECT_TRUE(A == B);
    B(1, 2) = 0;
    EXPECT_TRUE(A != B);
    A = 0;
    EXPECT_EQ(valuesOf(A), std::vector<TypeParam>(6, 0));
    EXPECT_TRUE((empty = 1) == SVMutableArray<TypeParam>(0, 4));
}

TEST(DoubleArray, ComparesBitsAndStoresZeroWithoutASign)
{
    SVMutableDoubleArray A(2), B(2);
    A = std::nan("");
    EXPECT_TRUE(A == A.Copy());
    A = 0.0;
    B(0) = B(1) = -0.0;
    EXPECT_FALSE(A == B);
    B = -0.0;
    EXPECT_TRUE(A == B);
}

TEST(ArrayConstruction, ReportsANegativeDimensionInTheWordsOfTheTable)
{
    std::string reports;
    const auto make = [&](auto element) {
        for (const auto& report : reportsOf([] { SVMutableArray<decltype(element)> A(2, -1); }))
            reports += report.substr(0, report.find(": Negative index in constructor")) + " ";
    };
    std::apply([&](auto... elements) { (make(elements), ...); }, std::tuple<SV_ALL_TYPES>());
    EXPECT_EQ(reports,
        "SVMutableDoubleArray SVMutableFloatArray SVMutableDoubleArray SVMutableShortIntArray "
        "SVMutableUCharArray ");
}

SV_TYPED_TESTS(ArrayArithmetic, double, float);

TYPED_TEST(ArrayArithmetic, ChangesEachElementAndRefusesOtherDimensions)
{
    SVMutableArray<TypeParam> A = arrayOf<TypeParam>({1, 2, 3}), B = arrayOf<TypeParam>({4, 8, 2});
    const SVArray<TypeParam> seen = A;
    (((A *= 6) += 2) -= 4) /= 2;
    EXPECT_EQ(shown(seen), "3x1x1: 2 5 8");
    ((A += B) *= B) -= B;
    EXPECT_EQ(shown(seen), "3x1x1: 20 96 18");
    A /= B;
    EXPECT_EQ(shown(seen), "3x1x1: 5 12 9");

    SVMutableArray<TypeParam> M = counting<TypeParam>(2, 3);
    const SVArray<TypeParam> before = M.Copy(), N = counting<TypeParam>(3, 2);
    EXPECT_THAT(reportsOf([&] { (((M += N) -= N) *= N) /= N; }),
        ElementsAre("A+=B: Incompatible sizes.", "A-=B: Incompatible sizes.", "A*=B: Incompatible sizes.",
            "A/=B: Incompatible sizes."));
    EXPECT_TRUE(M == before);
}
