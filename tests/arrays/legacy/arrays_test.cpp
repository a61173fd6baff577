#include "arrays/legacy/KRArray.h"

#include "OnThreads.h"
#include "arrays/legacy/KRArrayMemory.h"
#include "arrays/legacy/legacy_testing.h"

#include <cstdlib>
#include <utility>

// The address sanitizer would end the program where an allocation is meant to fail.
extern "C" const char* __asan_default_options()
{
    return "allocator_may_return_null=1";
}
extern "C" const char* __tsan_default_options()
{
    return "allocator_may_return_null=1";
}

using namespace legacytest;

namespace {

KR_TYPED_TESTS(LegacyArrays, KR_ALL_TYPES);

template <class T>
std::string name()
{
    return KRArrayMemberOf<T>.className;
}

TEST(LegacyArrayFamily, NamesItsMembers)
{
    std::vector<std::string> names;
    for (const KRArrayMember& member : KRArrayFamily)
        names.push_back(member.className);
    EXPECT_THAT(names,
        ElementsAre("DoubleArray", "FloatArray", "IntArray", "IntegerArray", "UIntegerArray", "KRShortArray",
            "KRUShortArray", "CharacterArray", "UCharArray", "ComplexArray"));
}

TYPED_TEST(LegacyArrays, KeepTheirDimensionsAndReachTheirElements)
{
    using T = TypeParam;
    const KRMutableArray<T> A(3, 4, 5);
    EXPECT_EQ(sizeOf(A), (std::vector<long>{3, 4, 5}));
    EXPECT_EQ(A.Length(), 60);
    for (const auto& empty : {KRMutableArray<T>(), KRMutableArray<T>(5, 0, 1), KRMutableArray<T>(0)}) {
        EXPECT_EQ(sizeOf(empty), (std::vector<long>{0, 0, 0}));
        EXPECT_TRUE(empty.IsEmpty() && !empty.NotEmpty());
        EXPECT_EQ(empty.Pointer(), nullptr);
    }
    EXPECT_THAT(reportsOf([] { EXPECT_TRUE(KRMutableArray<T>(-1, 3).IsEmpty()); }),
        ElementsAre(name<T>() + "(P,m,n,o): One of the dimensions is negative (m = -1,n = 3, o = 1)"));

    KRMutableArray<T> M = counting<T>(2, 3, 2);
    const KRArray<T> readOnly = M;
    EXPECT_TRUE(readOnly(7) == T(7) && readOnly(1, 2) == T(5) && readOnly(1, 2, 1) == T(11));
    M(1, 1, 1) = T(77);
    M(0, 1) = T(66);
    M(0) = T(55);
    EXPECT_EQ(shown(readOnly), "2x3x2: 55 1 66 3 4 5 6 7 8 77 10 11"); // The handles share the block.
}

TYPED_TEST(LegacyArrays, ReportABadIndexAndGoOn)
{
    using T = TypeParam;
    KRMutableArray<T> A = counting<T>(2, 3, 2);
    const std::string word = name<T>();
    const KRArray<T> readOnly = A;
    EXPECT_THAT(reportsOf([&] {
        EXPECT_TRUE(A(-1) == T(0) && A(12) == T(0));
        A(2, 0), A(0, -1), A(0, 0, 2), readOnly(0, 3, 0), KRArray<T>()(0);
    }),
        ElementsAre(word + "(-1) out of range [0,11].", word + "(12) out of range [0,11].",
            word + "(2,0) out of range [0,1]x[0,2].", word + "(0,-1) out of range [0,1]x[0,2].",
            word + "(0,0,2) out of range [0,1]x[0,2]x[0,1].",
            word + "(0,3,0) out of range [0,1]x[0,2]x[0,1].", word + "(0) out of range [0,-1]."));
    reportsOf([&] {
        A(99) = T(7);
        const auto& same = std::as_const(A);
        EXPECT_TRUE(A(-5) == T(7) && same(99) == T(7) && same(9, 9) == T(7) && same(9, 9, 9) == T(7));
        EXPECT_EQ(readOnly(-5), T(0)); // The write stays in its handle.
    });
    EXPECT_EQ(valuesOf(A), valuesOf(counting<T>(2, 3, 2)));
}

TYPED_TEST(LegacyArrays, CountTheirHandles)
{
    using T = TypeParam;
    KRMutableArray<T> A = counting<T>(3);
    KRArray<T> B = A;
    EXPECT_EQ(A.ReferenceCount(), 2);
    B = A;
    A = KRMutableArray<T>(A);
    EXPECT_EQ(A.ReferenceCount(), 2);
    const KRMutableArray<T> copy = A.Copy();
    EXPECT_EQ(copy.ReferenceCount(), 1);
    EXPECT_TRUE(copy == A);
    A(0) = T(9);
    EXPECT_EQ(B(0), T(9));
    EXPECT_EQ(copy(0), T(0));
    EXPECT_FALSE(copy == A);
    B = KRArray<T>();
    EXPECT_EQ(A.ReferenceCount(), 1);
}

TYPED_TEST(LegacyArrays, FillAndChangeShapeForAllHandles)
{
    using T = TypeParam;
    KRMutableArray<T> A(2, 3);
    A = T(5);
    EXPECT_EQ(shown(A), "2x3x1: 5 5 5 5 5 5");
    A = T(0);
    const KRArray<T> other = A;
    A.Reshape(1, 3, 2);
    EXPECT_EQ(shown(other), "1x3x2: 0 0 0 0 0 0");
    A.ReshapeAsVector();
    EXPECT_EQ(sizeOf(other), (std::vector<long>{6, 1, 1}));
    for (const auto& bad : {std::vector<long>{6, 2, 1}, {-2, -3, 1}, {kMost, kMost, kMost}, {0, 6, 1}})
        EXPECT_THAT(reportsOf([&] { A.Reshape(bad[0], bad[1], bad[2]); }),
            ElementsAre("Internal error: " + name<T>() + "::Reshape: Invalid new size."));
    EXPECT_EQ(sizeOf(A), (std::vector<long>{6, 1, 1}));
}

TYPED_TEST(LegacyArrays, TakeOverABlockAndRefuseSizesBeyondTheirLimit)
{
    using T = TypeParam;
    auto* block = static_cast<T*>(std::calloc(6, sizeof(T)));
    block[5] = T(3);
    const auto A = KRMutableArray<T>::TakeOver(block, 2, 3);
    EXPECT_EQ(shown(A), "2x3x1: 0 0 0 0 0 3");
    EXPECT_EQ(A.Pointer(), block);
    EXPECT_TRUE(KRMutableArray<T>::TakeOver(static_cast<T*>(std::malloc(8)), 0).IsEmpty());
    EXPECT_THAT(reportsOf([] { EXPECT_TRUE(KRMutableArray<T>::TakeOver(nullptr, 2).IsEmpty()); }),
        ElementsAre("Memory allocation failed"));

    // Sizes that no machine has: an empty array and a report, in the member's words for its limit.
    const bool isLimited = KRArrayMemberOf<T>.sizeLimit > 0;
    for (const auto& size : {std::vector<long>{kMost, 1, 1}, {1L << 31, 1L << 31, 4}, {1L << 60, 1, 1}})
        EXPECT_THAT(reportsOf([&] { EXPECT_TRUE(KRMutableArray<T>(size[0], size[1], size[2]).IsEmpty()); }),
            ElementsAre(isLimited ? KRArrayMemberOf<T>.sizeMessage : "Memory allocation failed"));
}

TEST(LegacyArrayLimits, AreDecimalAndInBytes)
{
    const auto refusalOf = [](auto element, long length) {
        using T = decltype(element);
        // A block of one byte stands for memory that the test doesn't have.
        return reportsOf([&] { KRMutableArray<T>::TakeOver(static_cast<T*>(std::malloc(1)), length); });
    };
    const auto expectLimit = [&](auto element, long most, const char* refusal) {
        EXPECT_THAT(refusalOf(element, most), IsEmpty());
        EXPECT_THAT(refusalOf(element, most + 1), ElementsAre(refusal));
    };
    expectLimit(std::int32_t(), 2500000000, "Max size of a integer array (10GB) exceeded.");
    expectLimit(std::int64_t(), 1250000000, "Max size of a integer array (10GB) exceeded.");
    expectLimit(std::uint64_t(), 1250000000, "Max size of a integer array (10GB) exceeded.");
    expectLimit(std::uint16_t(), 5000000000, "Max size of a short int array (10GB) exceeded.");
    using Byte = unsigned char;
    expectLimit(Byte(), 15000000000, "Max size of a char array (15GB) exceeded.");
    EXPECT_THAT(refusalOf(std::int16_t(), 6000000000), IsEmpty());
}

TYPED_TEST(LegacyArrays, AreCountedWithTheirMemory)
{
    using T = TypeParam;
    const long arrays = howManyArrays();
    const long bytes = HowMuchHasBeenAllocated();
    {
        const KRMutableArray<T> A(10, 10);
        const KRArray<T> B = A;
        const KRMutableArray<T> empty(0);
        EXPECT_EQ(howManyArrays(), arrays + 1);
        EXPECT_EQ(HowMuchHasBeenAllocated(), bytes + 100 * static_cast<long>(sizeof(T)));
    }
    EXPECT_EQ(howManyArrays(), arrays);
    EXPECT_EQ(HowMuchHasBeenAllocated(), bytes);
}

// A member with words tells each mark of 20 MB and moves the mark on; one without sets the mark 40 MB ahead.
TYPED_TEST(LegacyArrays, TellTheLogThatMemoryGrows)
{
    using T = TypeParam;
    const KRArrayTrace& trace = KRArrayMemberOf<T>.trace;
    const long mark = HowMuchNextTime();
    const long bytes = mark - HowMuchHasBeenAllocated() + 1000000;
    const long length = bytes / static_cast<long>(sizeof(T));
    long sum = 0;
    const auto told = tracesOf([&] {
        const KRMutableArray<T> A(length);
        sum = HowMuchHasBeenAllocated() / 1000000;
    });
    const bool tells = trace.text && !trace.onlyTakenBlocks;
    ASSERT_EQ(told.size(), tells ? 1U : 0U);
    EXPECT_EQ(HowMuchNextTime(), tells ? mark + 20000000 : (sum + 40) * 1000000);
    const std::string kind = sizeof(T) == 8 && std::is_integral_v<T> ? "- int " : "";
    if (tells) {
        EXPECT_EQ(told[0], "Hit another megabyte " + kind + "(" + std::to_string(sum) + " MB)");
    }
    if (std::is_same_v<T, float>) {
        const long ahead = (HowMuchNextTime() - HowMuchHasBeenAllocated()) / 4 + 1;
        EXPECT_THAT(tracesOf([&] {
            FloatArray A = MutableFloatArray::TakeOver(static_cast<float*>(std::malloc(1)), ahead);
        }),
            ElementsAre(testing::StartsWith("Hit another megabyte (")));
    }
}

TEST(LegacyDoubleArray, AddsSortsAndCompares)
{
    MutableDoubleArray A = vectorOf<double>({3, kNaN, 1, 2, 1});
    A.SortEntriesUpTo(3);
    EXPECT_EQ(shown(A), "5x1x1: 1 3 nan 2 1");
    A.SortEntries();
    EXPECT_EQ(shown(A), "5x1x1: 1 1 2 3 nan");
    DoubleArray other = A;
    const long bytes = HowMuchHasBeenAllocated();
    A.RemoveIdenticalEntriesFromSortedList();
    EXPECT_EQ(shown(other), "4x1x1: 1 2 3 nan");
    EXPECT_EQ(HowMuchHasBeenAllocated(), bytes - 8);
    A.SortEntriesUpTo(kMost);
    A.SortEntriesUpTo(-1);

    MutableDoubleArray B = counting<double>(2, 2);
    B.AddArrayTimesNumber(counting<double>(2, 2), 0.5);
    EXPECT_EQ(shown(B), "2x2x1: 0 1.5 3 4.5");
    B.AddArrayTimesNumber(counting<double>(4), 0.5);
    EXPECT_EQ(shown(B), "2x2x1: 0 1.5 3 4.5");

    MutableDoubleArray minus(1);
    minus = -0.0;
    EXPECT_TRUE(vectorOf<double>({0.0}) == minus); // A filled zero is positive.
    EXPECT_FALSE(vectorOf<double>({-0.0}) == minus); // Bytes count,
    EXPECT_TRUE(vectorOf<double>({kNaN}) == vectorOf<double>({kNaN})); // also of what isn't a number.
    EXPECT_FALSE(counting<double>(4) == counting<double>(2, 2));
}

TEST(LegacyIntegerArrays, GrowInPlace)
{
    MutableIntArray A = counting<std::int32_t>(2, 2);
    const IntArray other = A;
    A.IncreaseSizeBy(4);
    EXPECT_EQ(sizeOf(other), (std::vector<long>{2, 4, 1}));
    EXPECT_EQ(other(3), 3);
    A.IncreaseSizeBy(0);
    MutableUIntegerArray fresh;
    fresh.IncreaseSizeBy(2);
    for (const long bad : {3L, -2L})
        EXPECT_THAT(
            reportsOf([&] { A.IncreaseSizeBy(bad); }), ElementsAre("Can't increase the size, mismatch."));
    EXPECT_THAT(reportsOf([&] { fresh.IncreaseSizeBy(kMost); }),
        ElementsAre("Max size of a integer array (10GB) exceeded."));
    EXPECT_EQ(fresh.m(), 2);
    EXPECT_EQ(sizeOf(A), (std::vector<long>{2, 4, 1}));
}

TEST(LegacyArrayReports, HaveTheirWords)
{
    EXPECT_THAT(reportsOf([] {
        KRPutOutOfRangeError1D(7, 3);
        KRErrorOutOfRange("A", 3, 3);
        KRErrorOutOfRange("A", 3, 0, 3, 2);
        KRErrorOutOfRange("A", 3, 0, 0, 3, 2, 1);
    }),
        ElementsAre("Out of range error A(7) when valid range is [0,2]",
            "A(3) is not valid, needs to be lie in [0,2].",
            "A(3,0) is not valid, needs to lie in [0,2]x[0,1].",
            "A(3,0,0) is not valid, needs to lie in [0,2]x[0,1]x[0,0]."));
    testing::internal::CaptureStderr();
    counting<signed char>(2, 2).pall();
    DoubleArray().pall();
    KRPutErrorMessage("without a receiver");
    KRPutTraceMessage("nowhere");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "0, 1\n2, 3\nEmpty\nwithout a receiver\n");
}

// Handles on one block come and go on several threads, in both directions of assignment.
TEST(LegacyArrayThreads, ShareHandlesAndFreeABlockOnce)
{
    MutableDoubleArray A = counting<double>(100), B = counting<double>(50);
    const long arrays = howManyArrays();
    onThreads(4, [&A, &B](int number) {
        DoubleArray first = A, second = B;
        for (int round = 0; round < 2000; ++round) {
            DoubleArray held = first;
            if (number % 2 == 0)
                first = second;
            else
                second = first;
            first = A;
            second = B;
            EXPECT_EQ(held(10), 10);
            const MutableIntArray own(round + 1);
        }
    });
    EXPECT_TRUE(A.ReferenceCount() == 1 && B.ReferenceCount() == 1 && howManyArrays() == arrays);

    for (int round = 0; round < 200; ++round) {
        auto own = std::make_unique<MutableFloatArray>(10);
        std::vector<std::thread> threads;
        for (int count = 0; count < 3; ++count)
            threads.emplace_back([held = FloatArray(*own)]() mutable { held = FloatArray(); });
        own.reset();
        for (auto& thread : threads)
            thread.join();
    }
}

} // namespace
