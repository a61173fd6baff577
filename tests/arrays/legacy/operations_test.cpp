#include "arrays/legacy/KRArrayOperations.h"

#include "arrays/legacy/legacy_testing.h"

using namespace legacytest;

namespace {

KR_TYPED_TESTS(LegacyOperations, KR_ALL_TYPES);

// An operation that fails: the report, and an empty result.
template <class T>
std::vector<std::string> refusalOf(const std::function<KRMutableArray<T>()>& operation)
{
    return reportsOf([&] { EXPECT_TRUE(operation().IsEmpty()); });
}

TYPED_TEST(LegacyOperations, TransposeReversesTheIndices)
{
    using T = TypeParam;
    EXPECT_EQ(shown(Transpose(counting<T>(2, 3))), "3x2x1: 0 2 4 1 3 5");
    EXPECT_EQ(shown(Transpose(counting<T>(1, 3))), "3x1x1: 0 1 2");
    const KRMutableArray<T> A = counting<T>(3, 2, 20);
    const KRMutableArray<T> turned = Transpose(A);
    ASSERT_EQ(sizeOf(turned), (std::vector<long>{20, 2, 3}));
    for (long i = 0; i < 3; ++i)
        for (long j = 0; j < 2; ++j)
            for (long k = 0; k < 20; ++k)
                EXPECT_EQ(turned(k, j, i), A(i, j, k));
    EXPECT_TRUE(Transpose(KRArray<T>()).IsEmpty());
}

TYPED_TEST(LegacyOperations, ExtractColumnsTakesTheFirstOnes)
{
    using T = TypeParam;
    EXPECT_EQ(shown(ExtractColumns(counting<T>(2, 3), 2)), "2x2x1: 0 1 2 3");
    EXPECT_TRUE(ExtractColumns(counting<T>(2, 3), 0).IsEmpty());
    const std::string suffixes[] = {
        "", "", " (int)", " (integer)", " (uint)", " (Short)", " (UShort)", " (Char)", "", ""};
    const std::string suffix = suffixes[KRArrayMemberNumber<T>];
    EXPECT_THAT(refusalOf<T>([] { return ExtractColumns(counting<T>(2, 3, 2), 1); }),
        ElementsAre("ExtractColumns: Can only extract columns from a 2D array." + suffix));
    EXPECT_THAT(refusalOf<T>([] { return ExtractColumns(counting<T>(2, 3), 4); }),
        ElementsAre("ExtractColumns: Asking for too many columns.  Returning empty."
            + (std::is_same_v<T, double> ? " (Double)" : suffix)));
}

TYPED_TEST(LegacyOperations, LengthsAreCut)
{
    using T = TypeParam;
    const std::string word = std::string("CropLength(") + KRArrayMemberOf<T>.className + ",len): ";
    EXPECT_EQ(shown(CropLength(counting<T>(2, 3), 3)), "3x1x1: 0 1 2");
    EXPECT_THAT(refusalOf<T>([] { return CropLength(counting<T>(2), 3); }),
        ElementsAre(word + "len>length of array."));
    EXPECT_THAT(refusalOf<T>([] { return CropLength(counting<T>(2), -1); }), ElementsAre(word + "len<0."));

    const auto A = counting<T>(2, 3), volume = counting<T>(2, 3, 2), none = KRMutableArray<T>();
    EXPECT_EQ(shown(TruncateSize(counting<T>(5), 2)) + shown(TruncateSize(A, 4)), "2x1x1: 0 12x2x1: 0 1 2 3");
    EXPECT_EQ(shown(TruncateSize(counting<T>(1, 2, 3), 4)), "1x2x2: 0 1 2 3");
    EXPECT_THAT(refusalOf<T>([&] { return TruncateSize(none, 0); }), IsEmpty());
    const std::tuple<KRArray<T>, long, const char*> refused[] = {{none, 1, "Array is empty."},
        {A, -2, "Invalid length."}, {A, 7, "Invalid length."}, {A, kMost, "Invalid length."},
        {A, 5, "Invalid new dimension"}, {volume, 8, "Invalid new dimension"}};
    for (const auto& [array, length, reason] : refused)
        EXPECT_THAT(
            refusalOf<T>([&, &array = array, length = length] { return TruncateSize(array, length); }),
            ElementsAre(std::string("TruncateSize(Array,Length): ") + reason));
}

TYPED_TEST(LegacyOperations, LengthsGrow)
{
    using T = TypeParam;
    const auto grown = [](const KRMutableArray<T>& A, long length) {
        const auto result = IncreaseSize(A, length);
        EXPECT_EQ(valuesOf(CropLength(result, A.Length())), valuesOf(A));
        return sizeOf(result);
    };
    EXPECT_THAT(grown(counting<T>(4), 3), ElementsAre(7, 1, 1));
    EXPECT_THAT(grown(counting<T>(2, 3), 4), ElementsAre(2, 5, 1));
    EXPECT_THAT(grown(counting<T>(2, 3, 2), 6), ElementsAre(2, 3, 3));
    EXPECT_THAT(grown(counting<T>(2, 3), 0), ElementsAre(2, 3, 1));
    const auto refused = [](const KRMutableArray<T>& A, long length) {
        return refusalOf<T>([&] { return IncreaseSize(A, length); });
    };
    const std::string word = "IncreaseSize(Array,Length): Length needs to be ";
    EXPECT_THAT(refused(counting<T>(2, 3), -2), ElementsAre(word + ">0."));
    EXPECT_THAT(refused(counting<T>(2, 3), 3), ElementsAre(word + "a multiple of m"));
    EXPECT_THAT(refused(counting<T>(2, 3, 2), 4), ElementsAre(word + "a multiple of m*n"));
    for (const auto& A : {counting<T>(2), counting<T>(1, 2), counting<T>(1, 1, 2)})
        EXPECT_EQ(refused(A, kMost).size(), 1U); // No memory for it.
}

KR_TYPED_TESTS(LegacyRegions, double, std::int32_t, std::int64_t, unsigned char, signed char);

TYPED_TEST(LegacyRegions, AreBoxesOrPositions)
{
    using T = TypeParam;
    const KRMutableArray<T> A = counting<T>(3, 3, 2);
    EXPECT_EQ(shown(Region(A, {1, 2}, {0, 2}, {1, 1})), "2x2x1: 10 11 13 14");
    EXPECT_EQ(shown(Region(A, {0, 1}, {1, 2})), "1x2x1: 3 6");
    EXPECT_EQ(shown(RegionOfIndices(A, {4, 3})), "3x1x1: 4 5 6");
    const std::string words[] = {"double", "", "int", "Int", "", "", "", "character", "char"};
    const std::string word = "Region of " + words[KRArrayMemberNumber<T>] + " array, incorrect offsets.";
    const SVRange whole(0, 3), one(0, 1);
    for (const SVRange& bad :
        {SVRange(-1, 1), SVRange(3, 1), SVRange(1, 3), SVRange(1, kMost), SVRange(kMost, 2)}) {
        EXPECT_THAT(refusalOf<T>([&] { return Region(A, bad, whole, one); }), ElementsAre(word));
        EXPECT_THAT(refusalOf<T>([&] { return Region(A, whole, bad, one); }), ElementsAre(word));
        EXPECT_THAT(refusalOf<T>([&] { return Region(A, whole, whole, bad); }), ElementsAre(word));
        EXPECT_THAT(refusalOf<T>([&] { return RegionOfIndices(counting<T>(3), bad); }), ElementsAre(word));
        const SVRange none(bad.start, 0);
        EXPECT_THAT(refusalOf<T>([&] { return Region(A, none, bad, one); }), IsEmpty());
        EXPECT_THAT(refusalOf<T>([&] { return RegionOfIndices(A, none); }), IsEmpty());
    }
}

TEST(LegacySort, CarriesTheIndices)
{
    MutableDoubleArray M = vectorOf<double>({2, kNaN, -1, 5});
    MutableIntArray I = counting<std::int32_t>(4);
    Sort(M, I);
    EXPECT_EQ(shown(M), "4x1x1: -1 2 5 nan");
    EXPECT_EQ(shown(I), "4x1x1: 2 0 3 1");
    MutableIntArray shorter = counting<std::int32_t>(3);
    EXPECT_THAT(reportsOf([&] { Sort(M, shorter); }), ElementsAre("SortDoubleAndInt: Incompatible sizes."));
    EXPECT_EQ(shown(shorter), "3x1x1: 0 1 2");
}

} // namespace
