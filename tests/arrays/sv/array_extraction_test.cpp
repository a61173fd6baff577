#include "sv_testing.h"

#include "arrays/sv/SVArrayExtraction.h"

#include <array>

using namespace svtest;

namespace {

const long kLeast = std::numeric_limits<long>::min();

// Ranges that don't lie in [0,size), some of which would if their ends were added up.
std::vector<SVRange> badRanges(long size)
{
    return {{-1, 1}, {0, size + 1}, {size, 1}, {size + 1, 0}, {0, -1}, {kMost, kMost}, {1, kMost},
        {kLeast, 2}, {kMost, kLeast}};
}

} // namespace

TEST(ArrayBoxes, AreCutOutByIndicesAndByRanges)
{
    const SVDoubleArray A = counting<double>(3, 3, 2);
    EXPECT_EQ(resultOf([&] { return SubArray(A, 1, 3, 0, 2, 1, 2); }), "2x2x1: 10 11 13 14");
    EXPECT_EQ(resultOf([&] { return Region(A, {1, 2}, {0, 2}, {1, 1}); }), "2x2x1: 10 11 13 14");
    EXPECT_EQ(resultOf([&] { return Region(A, {2, 1}, {1, 2}); }), "1x2x1: 5 8");
    EXPECT_EQ(resultOf([&] { return SubArray(A, 1, 1, 0, 2, 0, 1); }), "0x0x0:");
    const std::string report = "SubArray(A,....): Index out of range";
    for (const auto& [i, toI, j, toJ, toK] : std::vector<std::array<long, 5>>{{2, 1, 0, 1, 1},
             {0, 4, 0, 1, 1}, {0, 1, 0, 1, 3}, {kLeast, kMost, 0, 1, 1}, {0, 1, kMost, kLeast, 1}})
        EXPECT_EQ(resultOf([&] { return SubArray(A, i, toI, j, toJ, 0, toK); }), report);
    for (const SVRange& bad : badRanges(3))
        EXPECT_EQ(resultOf([&] { return Region(A, {0, 1}, bad); }), bad.length < 1 ? "0x0x0:" : report);
    EXPECT_EQ(resultOf([&] { return Region(counting<float>(2, 2), {0, 9}, {5, 0}, {0, 1}); }), "0x0x0:");
    EXPECT_EQ(resultOf([&] { return Region(counting<float>(2, 2), {0, 9}, {0, 1}, {0, 1}); }), report);
}

SV_TYPED_TESTS(ColumnExtraction, double, float, std::int32_t);

TYPED_TEST(ColumnExtraction, TakesColumnsByRangeAndByIndex)
{
    const SVArray<TypeParam> A = counting<TypeParam>(2, 3), deep = counting<TypeParam>(2, 2, 2), none;
    const std::string stem = SVArrayMemberOf<TypeParam>.stem;
    const std::string byRange = "ExtractColumns(" + stem + "Array,Range): ";
    const std::string byIndex = "ExtractColumns(" + stem + "Array,IntArray): ";
    const auto columns = [](const SVArray<TypeParam>& from, const std::vector<std::int32_t>& list) {
        return resultOf([&] { return ExtractColumns(from, SVIntArray(arrayOf(list))); });
    };
    EXPECT_EQ(resultOf([&] { return ExtractColumns(A, SVRange(1, 2)); }), "2x2x1: 2 3 4 5");
    EXPECT_EQ(resultOf([&] { return ExtractColumns(A, SVRange(3, 0)); }), "0x0x0:");
    for (const SVRange& bad : badRanges(3))
        EXPECT_EQ(resultOf([&] { return ExtractColumns(A, bad); }), byRange + "Range is out of bounds");
    EXPECT_EQ(resultOf([&] { return ExtractColumns(deep, SVRange(0, 1)); }),
        byRange + "Does not work for 3D arrays");
    EXPECT_EQ(columns(A, {2, 0, 2}), "2x3x1: 4 5 0 1 4 5");
    EXPECT_EQ(columns(A, {}), "0x0x0:");
    for (const int bad : {3, -1})
        EXPECT_EQ(columns(A, {0, bad}), byIndex + "Index out of bounds");
    EXPECT_EQ(columns(deep, {0}), byIndex + "Does not work for 3D arrays");
    EXPECT_EQ(columns(none, {}), byIndex + stem + " array is empty");
}

TEST(RowExtraction, TakesRowsByRange)
{
    const SVDoubleArray A = counting<double>(3, 2);
    EXPECT_EQ(resultOf([&] { return ExtractRows(A, {1, 2}); }), "2x2x1: 1 2 4 5");
    EXPECT_EQ(resultOf([] { return ExtractRows(SVDoubleArray(), {0, 0}); }), "0x0x0:");
    for (const SVRange& bad : badRanges(3))
        EXPECT_EQ(resultOf([&] { return ExtractRows(A, bad); }),
            "ExtractRows(DoubleArray,Range): Range is out of bounds");
    const SVDoubleArray deep = counting<double>(2, 2, 2);
    EXPECT_EQ(resultOf([&] { return ExtractRows(deep, SVRange(0, 1)); }),
        "ExtractRows(DoubleArray,Range): Does not work for 3D arrays");
}

SV_TYPED_TESTS(PositionExtraction, double, float, std::int32_t, std::int16_t, std::uint16_t, signed char);

TYPED_TEST(PositionExtraction, TakesPositionsByRangeAndByIndex)
{
    const SVArray<TypeParam> A = counting<TypeParam>(2, 2, 2), none;
    const std::string stem = SVArrayMemberOf<TypeParam>.stem;
    const std::string byIndex = "ExtractIndices(" + stem + "Array,IntArray): ";
    const std::string byRange =
        std::string("ExtractEntries(") + (sizeof(TypeParam) < 4 ? "SV" : "") + stem + "Array,Range): ";
    const auto positions = [](const SVArray<TypeParam>& from, const std::vector<std::int32_t>& list) {
        return resultOf([&] { return ExtractIndices(from, SVIntArray(arrayOf(list))); });
    };
    EXPECT_EQ(positions(A, {7, 0, 7}), "3x1x1: 7 0 7");
    for (const int bad : {8, -1})
        EXPECT_EQ(positions(A, {bad}), byIndex + "Index out of bounds");
    EXPECT_EQ(positions(none, {}), byIndex + stem + " array is empty");
    EXPECT_EQ(resultOf([&] { return ExtractIndices(A, SVRange(5, 3)); }), "3x1x1: 5 6 7");
    EXPECT_EQ(resultOf([&] { return ExtractIndices(none, SVRange()); }), "0x0x0:");
    for (const SVRange& bad : badRanges(8))
        EXPECT_EQ(resultOf([&] { return ExtractIndices(A, bad); }), byRange + "Range is out of bounds");
}
