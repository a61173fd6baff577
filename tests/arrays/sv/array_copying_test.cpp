#include "sv_testing.h"

#include "arrays/sv/SVArrayCopying.h"

using namespace svtest;

namespace {

// The array after a change; a change that reports must leave it as it was.
template <class T, class Change>
std::string after(SVMutableArray<T> M, Change change)
{
    const std::string before = shown(M);
    const auto reports = reportsOf([&] { change(M); });
    if (reports.empty())
        return shown(M);
    EXPECT_EQ(shown(M), before);
    EXPECT_EQ(reports.size(), 1U);
    return reports.front();
}

} // namespace

SV_TYPED_TESTS(ArrayCopying, SV_ALL_TYPES);

TYPED_TEST(ArrayCopying, CopiesValuesBetweenEqualSizes)
{
    const std::string stem = SVArrayMemberOf<TypeParam>.stem;
    SVMutableArray<TypeParam> zeros(2, 2);
    zeros = 0;
    EXPECT_EQ(after(zeros, [](auto& M) { CopyValues(M, counting<TypeParam>(2, 2)); }), "2x2x1: 0 1 2 3");
    EXPECT_EQ(after(zeros, [](auto& M) { CopyValues(M, M); }), "2x2x1: 0 1 2 3");
    EXPECT_EQ(after(zeros, [](auto& M) { CopyValues(M, counting<TypeParam>(4)); }),
        "CopyValues(Mutable" + stem + "Array," + stem + "Array): Incompatible sizes");
}

SV_TYPED_TESTS(ColumnCopying, double, float, std::int32_t);

TYPED_TEST(ColumnCopying, CopiesAListIntoAColumn)
{
    const bool isInt = std::is_same_v<TypeParam, std::int32_t>;
    const std::string word = isInt ? "CopyIntoColumns(into,list,j): " : "CopyIntoColumn(into,list,j): ";
    const auto copy = [](SVMutableArray<TypeParam> M, const std::vector<TypeParam>& list, long j) {
        return after(M, [&](auto& into) { CopyIntoColumn(into, SVArray<TypeParam>(arrayOf(list)), j); });
    };
    EXPECT_EQ(copy(counting<TypeParam>(2, 2), {8, 9}, 1), "2x2x1: 0 1 8 9");
    EXPECT_EQ(copy(counting<TypeParam>(2, 2), {8}, 1), word + "Need into.m()==list.Length()");
    EXPECT_EQ(copy(counting<TypeParam>(2, 2, 2), {8, 9}, 1), word + "into is a 3D array (into.o()>1)");
    for (const long j : {-1L, 2L})
        EXPECT_EQ(copy(counting<TypeParam>(2, 2), {8, 9}, j), word + "j out of bounds");
}

TYPED_TEST(ColumnCopying, CopiesColumnsIntoColumns)
{
    const std::string word = "CopyIntoColumns(into,range,from,range): ";
    const auto copy = [](const SVRange& to, const SVMutableArray<TypeParam>& A, const SVRange& from) {
        return after(counting<TypeParam>(2, 3), [&](auto& M) { CopyIntoColumns(M, to, A, from); });
    };
    const auto A = arrayOf<TypeParam>({10, 11, 12, 13}, 2);
    EXPECT_EQ(copy({1, 2}, A, {0, 2}), "2x3x1: 0 1 10 11 12 13");
    EXPECT_EQ(copy({0, 1}, counting<TypeParam>(2, 1, 2), {0, 1}),
        word + "into is a 3D array (into.o()>1 or from.o()>1)");
    EXPECT_EQ(copy({2, 2}, A, {0, 2}), word + "Out of bounds");
    EXPECT_EQ(copy({1, kMost}, A, {1, kMost}), word + "Out of bounds");
    EXPECT_EQ(copy({0, 1}, A, {0, 2}), word + "fromRange.length!=toRange.length");
    EXPECT_EQ(copy({0, 1}, counting<TypeParam>(3), {0, 1}), word + "from.m()!=to.m()");
}

SV_TYPED_TESTS(MemoryCopying, double, float, std::int16_t);

TYPED_TEST(MemoryCopying, CopiesPositionsAndColumns)
{
    const SVArray<TypeParam> A = arrayOf<TypeParam>({7, 8, 9, 6}, 2);
    const auto copy = [&](long offset, const SVRange& R) {
        return after(counting<TypeParam>(5), [&](auto& M) { MemoryCopy(M, offset, A, R); });
    };
    EXPECT_EQ(after(counting<TypeParam>(5), [&](auto& M) { MemoryCopy(M, 1, A); }), "5x1x1: 0 7 8 9 6");
    EXPECT_EQ(copy(0, {1, 2}), "5x1x1: 8 9 2 3 4");
    EXPECT_EQ(copy(5, {4, 0}), "5x1x1: 0 1 2 3 4");
    for (const long offset : {4L, -1L, kMost})
        EXPECT_EQ(copy(offset, {1, 2}), "MemoryCopy: Invalid destination range");
    for (const SVRange& bad : {SVRange(3, 2), SVRange(-1, 2), SVRange(kMost, 1), SVRange(0, -1)})
        EXPECT_EQ(copy(0, bad), "MemoryCopy: Invalid source range");
    const auto columns = [](const SVMutableArray<TypeParam>& from, long column, const SVRange& R) {
        return after(counting<TypeParam>(2, 3), [&](auto& M) { MemoryCopyColumns(M, column, from, R); });
    };
    const std::string word = "MemoryCopyColumns: ";
    EXPECT_EQ(columns(A.Copy(), 1, {0, 2}), "2x3x1: 0 1 7 8 9 6");
    EXPECT_EQ(columns(counting<TypeParam>(3), 0, {0, 1}), word + "Need to be the same number of columns");
    EXPECT_EQ(columns(A.Copy(), 2, {0, 2}), word + "Invalid destination range");
    EXPECT_EQ(columns(A.Copy(), 0, {1, 2}), word + "Invalid source range");
}

TYPED_TEST(MemoryCopying, MovesThroughAnOverlap)
{
    const auto move = [](long offset, const SVRange& R) {
        return after(counting<TypeParam>(6), [&](auto& M) { MemoryMove(M, offset, R); });
    };
    EXPECT_EQ(move(2, {0, 4}), "6x1x1: 0 1 0 1 2 3");
    EXPECT_EQ(move(0, {2, 4}), "6x1x1: 2 3 4 5 4 5");
    EXPECT_EQ(move(3, {0, 4}), "MemoryMove: Invalid destination range");
    EXPECT_EQ(move(0, {3, 4}), "MemoryMove: Invalid source range");
    const auto moveColumns = [](long column, const SVRange& R) {
        return after(counting<TypeParam>(2, 3), [&](auto& M) { MemoryMoveColumns(M, column, R); });
    };
    EXPECT_EQ(moveColumns(1, {0, 2}), "2x3x1: 0 1 0 1 2 3");
    EXPECT_EQ(moveColumns(2, {0, 2}), "MemoryMoveColumns: Invalid destination range");
    EXPECT_EQ(moveColumns(0, {2, 2}), "MemoryMoveColumns: Invalid source range");
}

TEST(IntCopying, CountsWhatItCopies)
{
    const SVIntArray A = arrayOf<std::int32_t>({7, 8, 9, 6}, 2);
    const auto M = counting<std::int32_t>(2, 3);
    EXPECT_EQ(after(M.Copy(), [&](auto& to) { MemoryCopy(to, 0, A, 1, 2); }), "2x3x1: 8 9 2 3 4 5");
    EXPECT_EQ(after(M.Copy(), [&](auto& to) { MemoryCopyColumns(to, 1, A, 0, 2); }), "2x3x1: 0 1 7 8 9 6");
    EXPECT_EQ(after(M.Copy(), [](auto& in) { MemoryMove(in, 1, 0, 4); }), "2x3x1: 0 0 1 2 3 5");
    EXPECT_EQ(after(M.Copy(), [](auto& in) { MemoryMoveColumns(in, 0, 1, 2); }), "2x3x1: 2 3 4 5 4 5");
    const std::string negative = ": Invalid number of entries to copy";
    EXPECT_EQ(after(M.Copy(), [&](auto& to) { MemoryCopy(to, 9, A, 1, -2); }), "MemoryCopy" + negative);
    EXPECT_EQ(
        after(M.Copy(), [](auto& in) { MemoryMoveColumns(in, 0, 9, -1); }), "MemoryMoveColumns" + negative);
    EXPECT_EQ(
        after(M.Copy(), [](auto& in) { MemoryMove(in, 3, 0, 4); }), "MemoryMove: Invalid destination range");
}

TEST(IntCopying, AddsOnTheWay)
{
    const auto copy = [](long offset, const std::vector<std::int32_t>& list, int add) {
        return after(counting<std::int32_t>(4),
            [&](auto& M) { CopyValuesIntoAndAdd(M, offset, SVIntArray(arrayOf(list)), add); });
    };
    EXPECT_EQ(copy(1, {5, 6}, 10), "4x1x1: 0 15 16 3");
    EXPECT_EQ(copy(0, {2147483647}, 1), "4x1x1: -2147483648 1 2 3");
    for (const long offset : {3L, -1L, kMost})
        EXPECT_EQ(
            copy(offset, {5, 6}, 10), "CopyValuesInto(array,offset,array): Copying outside the valid range.");
    EXPECT_EQ(after(counting<std::int32_t>(4), [](auto& M) { CopyValuesIntoAndAdd(M, 0, M, 1); }),
        "4x1x1: 1 2 3 4");
}

TEST(DoubleColumns, AreAddedTo)
{
    const SVDoubleArray A = arrayOf<double>({10, 20, 30, 40}, 2);
    const auto add = [&](const SVRange& R) {
        return after(counting<double>(2, 3), [&](auto& M) { AddToColumnRange(M, R, A); });
    };
    const auto addScaled = [&](const SVRange& R, const SVRange& Ra) {
        return after(counting<double>(2, 3), [&](auto& M) { AddToColumnRange(M, R, A, Ra, 0.5); });
    };
    const std::string word = "AddToColumnRange(MutableDoubleArray,Range,DoubleArray";
    EXPECT_EQ(add({1, 2}), "2x3x1: 0 1 12 23 34 45");
    EXPECT_EQ(addScaled({0, 1}, {1, 1}), "2x3x1: 15 21 2 3 4 5");
    for (const SVRange& bad : {SVRange(2, 2), SVRange(0, 1), SVRange(-1, 2), SVRange(kMost, 2)})
        EXPECT_EQ(add(bad), word + "): Incompatible sizes");
    EXPECT_EQ(addScaled({0, 2}, {1, 2}), word + ",Range,double): Incompatible sizes");
}
