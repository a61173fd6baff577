#include "sv_testing.h"

#include <limits>

using namespace svtest;

namespace {

template <class T>
std::string info(const SVArray<T>& A)
{
    return printedBy([&] { A.pinfo(); });
}

} // namespace

TEST(ArrayPrinters, TellTheDimensions)
{
    EXPECT_EQ(info(SVMutableDoubleArray(2, 3, 4)), "2 x 3 x 4 double array\n");
    EXPECT_EQ(info(SVMutableDoubleArray(1, 3)), "1 x 3 double array\n");
    EXPECT_EQ(info(SVMutableDoubleArray(10)), "double vector with 10 entries\n");
    EXPECT_EQ(info(counting<double>(9)), "(0,1,2,3,4,5,6,7,8)\n");
    EXPECT_EQ(info(SVDoubleArray()), "Empty\n");
    const auto infoOfOther = [](auto element) {
        using Array = SVMutableArray<decltype(element)>;
        return info(Array(2, 3, 4)) + info(Array(1, 3)) + info(Array(10)) + info(Array(1)) + info(Array());
    };
    const std::string other = "2 x 3 x 4 array\n1 x 3 array\n10 entries\n1 entries\nEmpty\n";
    EXPECT_EQ(infoOfOther(float()), other);
    EXPECT_EQ(infoOfOther(std::int32_t()), other);
    EXPECT_EQ(infoOfOther(std::uint16_t()), other);
    EXPECT_EQ(infoOfOther(static_cast<unsigned char>(0)), other);
}

SV_TYPED_TESTS(AllArrayPrinters, SV_ALL_TYPES);

TYPED_TEST(AllArrayPrinters, PrintRowsColumnsAndTheFirstLayer)
{
    const SVArray<TypeParam> A = counting<TypeParam>(2, 3, 2), none;
    EXPECT_EQ(printedBy([&] { A.pi(1); }), "1, 3, 5\n");
    EXPECT_EQ(printedBy([&] { A.pj(2); }), "4, 5\n");
    EXPECT_EQ(printedBy([&] { A.pall(); }), "0, 1\n2, 3\n4, 5\n");
    EXPECT_EQ(printedBy([&] { none.pall(); }), "Empty\n");
    for (const int bad : {-1, 3})
        EXPECT_EQ(printedBy([&] {
            A.pi(bad);
            A.pj(bad);
            none.pi(0);
        }),
            "Out of bounds.\nOut of bounds.\nOut of bounds.\n");
}

TYPED_TEST(AllArrayPrinters, GiveElementsWithoutTheReportLayer)
{
    SVMutableArray<TypeParam> A = counting<TypeParam>(2, 3, 2);
    EXPECT_EQ(A.e(7), 7);
    EXPECT_EQ(A.e(1, 2), 5);
    EXPECT_EQ(A.e(1, 2, 1), 11);
    const Outcome outcome = outcomeOf([&] {
        A(99) = 3;
        EXPECT_EQ(A.e(12), 3) << "the invalid entry";
        EXPECT_EQ(A.e(2, 0), 3);
        EXPECT_EQ(A.e(0, 0, -1), 3);
    });
    EXPECT_EQ(outcome.reports.size(), 1U) << "that of the write";
    EXPECT_THAT(outcome.printed, testing::EndsWith("].\nOut of bounds\nOut of bounds\nOut of bounds\n"));
}

SV_TYPED_TESTS(RangePrinters, double, float, std::int32_t);

TYPED_TEST(RangePrinters, PrintRangesOfPositionsAndColumns)
{
    const SVArray<TypeParam> A = counting<TypeParam>(2, 3, 2);
    const auto range = [&](int s, int e) { return printedBy([&] { A.prange(s, e); }); };
    const auto columns = [&](int s, int e) { return printedBy([&] { A.pcrange(s, e); }); };
    EXPECT_EQ(range(2, 4) + range(0, 11).substr(0, 6), "2, 3, 4\n0, 1, ");
    EXPECT_EQ(A.Find(7), 7);
    EXPECT_EQ(A.Find(12), -1);
    EXPECT_EQ(range(-1, 4) + range(2, 12) + range(3, 2), "start out of bounds\nend out of bounds\n");
    EXPECT_EQ(columns(1, 2) + columns(0, 0), "2, 3\n4, 5\n0, 1\n");
    EXPECT_EQ(columns(-1, 2) + columns(0, 3) + columns(2, 1), "start out of bounds\nend out of bounds\n");
}

TEST(SignPrinters, TellSignsOfIntegers)
{
    EXPECT_EQ(printedBy([] { arrayOf<std::int32_t>({-7, 0, 9, 1}, 2).psigns(); }), "-0\n++\n");
    EXPECT_EQ(printedBy([] { arrayOf<signed char>({-128, 127, 0}).psigns(); }), "-+0\n");
}

SV_TYPED_TESTS(FloatingSignPrinters, double, float);

TYPED_TEST(FloatingSignPrinters, TellWhatIsNotFinite)
{
    using Limits = std::numeric_limits<TypeParam>;
    const auto A = arrayOf<TypeParam>({-1, TypeParam(-0.0), Limits::denorm_min(), Limits::quiet_NaN(),
                                          -Limits::infinity(), Limits::infinity()},
        3);
    EXPECT_EQ(printedBy([&] { A.psigns(); }), "-0+\n*PM\n");
    EXPECT_EQ(printedBy([] { SVMutableArray<TypeParam>(2, 2, 2).psigns(); }), "only works for 2D arrays\n");
}
