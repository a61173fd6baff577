#include "arrays/sv/sv_testing.h"

#include "arrays/geometry/KRBounds.h"

#include <tuple>

using namespace svtest;

namespace {

// "empty", "invalid", or the numbers.
template <class Bound>
std::string show(const Bound& b)
{
    if (b.isEmpty || !b.couldBeFound)
        return b.isEmpty == b.couldBeFound ? (b.isEmpty ? "empty" : "invalid") : "neither";
    const auto* const numbers = reinterpret_cast<const double*>(&b);
    std::string text;
    for (std::size_t i = 0; i < sizeof(Bound) / sizeof(double) - 1; ++i)
        text.append(text.empty() ? "" : " ").append(testing::PrintToString(numbers[i]));
    return text;
}

// The result of the call, and its report if it makes one. Every call that gives an invalid bound makes one.
template <class Call>
std::string made(Call call)
{
    std::string result;
    const auto reports = reportsOf([&] { result = show(call()); });
    EXPECT_EQ(reports.size(), result == "invalid" ? 1U : 0U);
    return reports.empty() ? result : reports.front();
}

} // namespace

TEST(BoundingRanges, AreMadePaddedAndCompared)
{
    EXPECT_EQ(made([] { return KRBoundingRangeCreate(3, 1); }), "1 3");
    EXPECT_EQ(made([] { return KRBoundingRangeCreate(-kInf, 1); }), "-inf 1");
    for (const auto& pair : {std::pair(kNaN, 1.0), std::pair(1.0, kNaN)})
        EXPECT_EQ(made([&] { return KRBoundingRangeCreate(pair.first, pair.second); }),
            "Not allowing KRBoundingRange to contain NaN");

    const auto range = KRBoundingRangeCreate(1, 2), empty = KRBoundingRangeCreateEmpty();
    EXPECT_EQ(show(KRBoundingRangePad(3, range)), "-2 5");
    EXPECT_EQ(show(KRBoundingRangePad(-3, range)), "1 2");
    EXPECT_EQ(show(KRBoundingRangePad(3, empty)), "empty");
    EXPECT_TRUE(KRBoundingRangeEqual(range, KRBoundingRangeCreate(2, 1)));
    EXPECT_FALSE(KRBoundingRangeEqual(range, KRBoundingRangeCreate(1, 3)));
    EXPECT_FALSE(KRBoundingRangeEqual(KRBoundingRangeCreate(0, 0), empty));
    EXPECT_FALSE(KRBoundingRangeEqual(KRBoundingRangeCreateInvalid(), empty));
}

TEST(BoundingRanges, UniteAndIntersect)
{
    const auto empty = KRBoundingRangeCreateEmpty(), invalid = KRBoundingRangeCreateInvalid();
    const auto range = [](double a, double b) { return KRBoundingRangeCreate(a, b); };
    const std::tuple<KRBoundingRange, KRBoundingRange, std::string, std::string> cases[] = {
        {range(1, 2), range(4, 5), "1 5", "empty"},
        {range(1, 4), range(2, 5), "1 5", "2 4"},
        {range(1, 2), range(2, 5), "1 5", "2 2"},
        {invalid, range(1, 2), "1 2", "invalid"},
        {empty, range(1, 2), "1 2", "empty"},
        {empty, range(-1, 2), "-1 2", "0 0"}, // By its zeros.
        {empty, invalid, "empty", "invalid"},
        {invalid, invalid, "invalid", "invalid"},
    };
    for (const auto& [first, second, both, common] : cases)
        for (const auto& [a, b] : {std::pair(first, second), std::pair(second, first)}) {
            EXPECT_EQ(show(KRBoundingRangeUnion(a, b)), both);
            EXPECT_EQ(show(KRBoundingRangeIntersection(a, b)), common);
        }
}

TEST(BoundingBoxes, RefuseBadNumbers)
{
    const std::string reversed = "Bounding box creation: xmin>xmax or ymin>ymax.";
    const std::string notFinite = "Not allowing KRBoundingBox2D to contain NaN or Inf";
    const std::string isNaN = "Not allowing KRBoundingBox2D to contain NaN";
    EXPECT_EQ(made([] { return KRBoundingBox2DCreate(2, 1, 3, 4); }), reversed);
    EXPECT_EQ(made([] { return KRBoundingBox2DCreate(1, 2, 3, kInf); }), notFinite);
    EXPECT_EQ(made([] { return KRBoundingBox2DCreate(kNaN, 2, 3, 4); }), notFinite);
    EXPECT_EQ(made([] { return KRBoundingBox2DCreateAllowInf(-kInf, 2, 3, kInf); }), "-inf 2 3 inf");
    EXPECT_EQ(made([] { return KRBoundingBox2DCreateAllowInf(1, 2, kNaN, 4); }), isNaN);
    EXPECT_EQ(made([] { return KRBoundingBox2DCreateFromPoint({7, 8}); }), "7 7 8 8");
    EXPECT_EQ(made([] { return KRBoundingBox2DCreateFromPoint({7, kInf}); }), notFinite);
    EXPECT_FALSE(KRBoundingBox2DCheckValidity({2, 1, 0, 0, false, true}));
    EXPECT_TRUE(KRBoundingBox2DCheckValidity({1, 1, 0, 2, false, true}));
    EXPECT_EQ(made([] { return KRBoundingBox3DCreate(1, 2, 3, 4, 5, 6); }), "1 2 3 4 5 6");
    EXPECT_EQ(made([] { return KRBoundingBox3DCreate(1, 2, 3, 4, 6, 5); }),
        "Bounding box creation: xmin>xmax or ymin>ymax or zmin>zmax.");
    EXPECT_EQ(made([] { return KRBoundingBox3DCreate(1, 2, 3, 4, 5, kInf); }),
        "Not allowing KRBoundingBox3D to contain NaN or Inf");
    EXPECT_EQ(made([] { return KRBoundingBox3DCreateAllowInf(1, 2, 3, 4, 5, kInf); }), "1 2 3 4 5 inf");
    EXPECT_EQ(made([] { return KRBoundingBox3DCreateAllowInf(1, 2, 3, 4, 6, 5); }), reversed);
    EXPECT_FALSE(KRBoundingBox3DCheckValidity({0, 1, 0, 1, 2, 1, false, true}));
}

TEST(BoundingBoxes, AreBoundOverSomeAxes)
{
    const KRBoundingBox2D box = KRBoundingBox2DCreate(1, 2, 3, 4);
    EXPECT_EQ(made([&] { return KRBoundingBox2D_Y(5, 6, box); }), "1 2 5 6");
    EXPECT_EQ(made([&] { return KRBoundingBox2D_X(5, 6, box); }), "5 6 3 4");
    EXPECT_EQ(made([&] { return KRBoundingBox2D_X(6, 5, box); }), "minX>maxX when calling BoundingBox2D_X");
    EXPECT_EQ(show(KRBoundingBox2D_Y(5, 6, KRBoundingBox2DCreateEmpty())), "empty");
    EXPECT_EQ(made([] { return KRBoundingBox3D_X(7, 6); }), "minX>maxX when calling BoundingBox3D_X");
    EXPECT_EQ(made([] { return KRBoundingBox3D_Y(7, 6); }), "minY>maxY when calling BoundingBox3D_Y");
    EXPECT_EQ(made([] { return KRBoundingBox3D_Z(7, 6); }), "minZ>maxZ when calling BoundingBox3D_Z");
    const std::string no = "Not allowing KRBoundingBox";
    EXPECT_EQ(made([] { return KRBoundingBox3D_Z(7, kNaN); }), no + "3D to contain a NaN");
    EXPECT_EQ(made([] { return KRBoundingBox3D_XY(1, kNaN, 3, 4); }), no + "3D to contain NaN");
    EXPECT_EQ(made([] { return KRBoundingBox2D_Y(kNaN, 6); }), no + "2D to contain a NaN");
    EXPECT_EQ(made([] { return KRBoundingBox2D_Y(7, 6); }), "minY>maxY when calling BoundingBox2D_Y");
    EXPECT_EQ(made([] { return KRBoundingBox3D_XY(1, 2, 3, 4); }), "1 2 3 4 -inf inf");
    EXPECT_EQ(made([] { return KRBoundingBox3D_XZ(1, 2, 3, 4); }), "1 2 -inf inf 3 4");
    EXPECT_EQ(made([] { return KRBoundingBox3D_YZ(1, 2, 3, 4); }), "-inf inf 1 2 3 4");
    const std::string creation = "Bounding box creation: ";
    EXPECT_EQ(made([] { return KRBoundingBox3D_XZ(1, 2, 4, 3); }), creation + "xmin>xmax or zmin>zax.");
    EXPECT_EQ(made([] { return KRBoundingBox3D_YZ(2, 1, 3, 4); }), creation + "ymin>ymax or zmin>zmax.");
    const KRBoundingBox3D yz = KRBoundingBox3D_Y(3, 4, KRBoundingBox3D_Z(5, 6));
    EXPECT_EQ(made([&] { return KRBoundingBox3D_X(1, 2, yz); }), "1 2 3 4 5 6");
}

TEST(BoundingBoxes, UniteAndIntersectAxisByAxisAndOverlapOnlyWithTheirInteriors)
{
    const KRBoundingBox2D a = KRBoundingBox2DCreate(0, 2, 0, 2), b = KRBoundingBox2DCreate(1, 3, 2, 3);
    const KRBoundingBox2D far = KRBoundingBox2DCreate(0, 2, 5, 6);
    const auto empty = KRBoundingBox2DCreateEmpty(), invalid = KRBoundingBox2DCreateInvalid();
    EXPECT_EQ(show(KRBoundingBox2DUnion(a, b)), "0 3 0 3");
    EXPECT_EQ(show(KRBoundingBox2DUnion(invalid, a)), "0 2 0 2");
    EXPECT_EQ(show(KRBoundingBox2DUnion(empty, invalid)), "empty");
    EXPECT_EQ(show(KRBoundingBox2DIntersection(a, b)), "1 2 2 2");
    EXPECT_EQ(show(KRBoundingBox2DIntersection(a, far)), "empty");
    EXPECT_EQ(show(KRBoundingBox2DUnion(b, empty)), "1 3 2 3");
    for (const auto& [first, second] : {std::pair(a, empty), std::pair(empty, a)})
        EXPECT_EQ(show(KRBoundingBox2DIntersection(first, second)), "empty") << "although its zeros lie in a";
    EXPECT_EQ(show(KRBoundingBox2DIntersection(empty, invalid)), "invalid");
    const auto noSpace = KRBoundingBox3DCreateEmpty(), invalidSpace = KRBoundingBox3DCreateInvalid();
    EXPECT_EQ(show(noSpace) + show(invalidSpace), "emptyinvalid");
    EXPECT_EQ(show(KRBoundingBox3DUnion(noSpace, invalidSpace)), "empty");
    KRBoundingBox2D sum = empty;
    KRBoundingBox2DAddBoxes(sum, b);
    KRBoundingBox2DAddBoxes(sum, far);
    EXPECT_EQ(show(sum), "0 3 2 6");
    KRBoundingBox3D space = KRBoundingBox3DCreate(0, 1, 0, 1, 0, 1);
    const KRBoundingBox3D other = KRBoundingBox3DCreate(1, 2, 0, 1, 3, 4);
    EXPECT_EQ(show(KRBoundingBox3DIntersection(space, other)), "empty");
    KRBoundingBox3DAddBoxes(space, other);
    EXPECT_EQ(show(space), "0 2 0 1 0 4");

    const KRBoundingBox2D unit = KRBoundingBox2DCreate(0, 1, 0, 1);
    EXPECT_TRUE(KRBoundingBox2DNonZeroIntersection(unit, KRBoundingBox2DCreate(0.5, 2, -1, 0.5)));
    EXPECT_FALSE(KRBoundingBox2DNonZeroIntersection(unit, KRBoundingBox2DCreate(1, 2, 0, 1))) << "an edge";
    const KRBoundingBox2D noReal{-5, 5, -5, 5, false, false}, nothing{-5, 5, -5, 5, true, true};
    EXPECT_FALSE(KRBoundingBox2DNonZeroIntersection(unit, noReal));
    EXPECT_FALSE(KRBoundingBox2DNonZeroIntersection(nothing, unit));
}

TEST(BoundReports, GoWhereTheApplicationWantsThem)
{
    static std::string heard;
    KRSetBoundsReporter([](const std::string& message) { heard = message; });
    EXPECT_THAT(reportsOf([] { KRBoundingRangeCreate(kNaN, 0); }), IsEmpty());
    KRSetBoundsReporter(nullptr);
    EXPECT_EQ(heard, "Not allowing KRBoundingRange to contain NaN");
}
