#include "sv_testing.h"

#include "arrays/sv/SVArrayShape.h"

#include <pthread.h>
#include <tuple>

using namespace svtest;

SV_TYPED_TESTS(ArrayShape, SV_ALL_TYPES);

namespace {

template <class T>
SVMutableArray<T> slowTranspose(const SVArray<T>& A)
{
    const bool flat = A.o() == 1;
    SVMutableArray<T> result(flat ? A.n() : A.o(), flat ? A.m() : A.n(), flat ? 1 : A.m());
    for (long k = 0; k < A.o(); ++k)
        for (long j = 0; j < A.n(); ++j)
            for (long i = 0; i < A.m(); ++i)
                (flat ? result(j, i) : result(k, j, i)) = A(i, j, k);
    return result;
}

template <class T>
SVMutableArray<T> scattered(long m, long n, long o)
{
    SVMutableArray<T> A(m, n, o);
    std::minstd_rand random(12345);
    for (long i = 0; i < A.Length(); ++i)
        A(i) = static_cast<T>(random());
    return A;
}

} // namespace

// The sizes lie around those of the squares and tiles.
TYPED_TEST(ArrayShape, TransposesEverySize)
{
    for (const long m : {1L, 2L, 15L, 16L, 33L, 129L, 260L}) {
        for (const long n : {1L, 3L, 16L, 31L, 64L, 131L, 515L}) {
            const SVArray<TypeParam> A = scattered<TypeParam>(m, n, 1);
            ASSERT_TRUE(Transpose(A) == slowTranspose(A)) << m << " x " << n;
        }
    }
    for (const auto& size : std::vector<std::vector<long>>{{2, 3, 4}, {1, 5, 2}, {40, 2, 70}, {7, 1, 90}}) {
        const SVArray<TypeParam> A = scattered<TypeParam>(size[0], size[1], size[2]);
        ASSERT_TRUE(Transpose(A) == slowTranspose(A)) << A.m();
    }
    EXPECT_TRUE(Transpose(SVArray<TypeParam>()).IsEmpty());
}

// Large results bypass the caches. Rows of different alignment are written in whole cache lines.
TYPED_TEST(ArrayShape, TransposesWhatNoCacheHolds)
{
    const long size = static_cast<long>(sizeof(TypeParam));
    const long length = (34L << 20) / size;
    for (const long n : {4096L / size, 4096L / size + 5}) {
        const SVArray<TypeParam> A = scattered<TypeParam>(length / n, n, 1);
        const SVArray<TypeParam> B = Transpose(A);
        ASSERT_EQ(sizeOf(B), (std::vector<long>{A.n(), A.m(), 1}));
        const TypeParam* const a = A.Pointer();
        const TypeParam* const b = B.Pointer();
        long wrong = 0;
        for (long j = 0; j < n; ++j)
            for (long i = 0; i < A.m(); ++i)
                wrong += a[i + j * A.m()] != b[j + i * n];
        EXPECT_EQ(wrong, 0);
    }
}

TEST(ArrayShapeOfBytes, TransposesOnASmallStack)
{
    const SVUCharArray A = scattered<unsigned char>(1030, 40L << 10, 1);
    SVUCharArray B;
    std::function<void()> work = [&] { B = Transpose(A); };
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, 128 << 10), 0);
    pthread_t thread;
    const auto start = [](void* argument) -> void* {
        (*static_cast<std::function<void()>*>(argument))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, start, &work), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    EXPECT_EQ(sizeOf(B), (std::vector<long>{A.n(), A.m(), 1}));
    EXPECT_EQ(B(12345, 678), A(678, 12345));
}

TYPED_TEST(ArrayShape, Truncates)
{
    const std::string word = "TruncateSize(Array,Length): ";
    const std::tuple<long, long, long, long, std::string> cases[] = {{3, 4, 1, 6, "3x2x1: 0 1 2 3 4 5"},
        {3, 4, 1, 5, word + "Invalid new dimension"}, {5, 1, 1, 2, "2x1x1: 0 1"}, {1, 5, 1, 2, "1x2x1: 0 1"},
        {2, 1, 3, 4, "2x1x2: 0 1 2 3"}, {2, 2, 2, 6, word + "Invalid new dimension"},
        {0, 0, 0, 3, word + "Array is empty."}, {0, 0, 0, 0, "0x0x0:"}, {4, 2, 1, 0, "0x0x0:"}};
    for (const auto& [m, n, o, length, result] : cases)
        EXPECT_EQ(resultOf([&] { return TruncateSize(counting<TypeParam>(m, n, o), length); }), result);
    // More than there is isn't tested for, but elements that A doesn't have must not be read.
    const auto A = TruncateSize(counting<TypeParam>(3), 1000);
    EXPECT_EQ(A.Length(), 1000);
    EXPECT_EQ(A(2), 2);
}

TYPED_TEST(ArrayShape, IncreasesAndFlips)
{
    struct Case {
        long m, n, o, length;
        std::vector<long> size;
        std::string report;
    };
    const Case cases[] = {{4, 1, 1, 3, {7, 1, 1}, ""}, {3, 2, 1, 6, {3, 4, 1}, ""},
        {3, 2, 1, 0, {3, 2, 1}, ""}, {2, 2, 2, 4, {2, 2, 3}, ""}, {0, 0, 0, 2, {2, 1, 1}, ""},
        {3, 2, 1, 4, {0, 0, 0}, "Length needs to be a multiple of m"},
        {2, 2, 2, 2, {0, 0, 0}, "Length needs to be a multiple of m*n"},
        {3, 1, 1, -3, {0, 0, 0}, "Length needs to be >0."}};
    for (const Case& c : cases) {
        const SVArray<TypeParam> A = counting<TypeParam>(c.m, c.n, c.o);
        const auto reports = reportsOf([&] {
            const auto larger = IncreaseSize(A, c.length);
            EXPECT_EQ(sizeOf(larger), c.size);
            for (long i = 0; i < std::min(A.Length(), larger.Length()); ++i)
                EXPECT_EQ(larger(i), A(i));
        });
        EXPECT_EQ(reports,
            c.report.empty() ? std::vector<std::string>()
                             : std::vector<std::string>{"IncreaseSize(Array,Length): " + c.report});
    }
    EXPECT_THROW(IncreaseSize(counting<TypeParam>(3), INT64_MAX), std::bad_alloc);
    EXPECT_EQ(shown(FlipJ(counting<TypeParam>(2, 2, 2))), "2x2x2: 2 3 0 1 6 7 4 5"); // In each layer.
}

SV_TYPED_TESTS(WideArrayShape, double, float, std::int32_t);

TYPED_TEST(WideArrayShape, Reshapes)
{
    const SVArray<TypeParam> A = counting<TypeParam>(2, 3);
    const std::string word = std::string("Reshape(") + SVArrayMemberOf<TypeParam>.classWord + ",...): ";
    EXPECT_EQ(shown(Reshape(A, 3, 1, 2)), "3x1x2: 0 1 2 3 4 5");
    const long half = 1L << 33;
    for (const auto& size : std::vector<std::vector<long>>{{2, 2, 2}, {0, 3, 2}, {half, half, 6}, {7, 1, 1}})
        EXPECT_EQ(resultOf([&] { return Reshape(A, size[0], size[1], size[2]); }),
            word + "Size before and after need to be the same.");
    const bool isInt = std::is_same_v<TypeParam, std::int32_t>; // The constructor tells it then.
    EXPECT_EQ(resultOf([&] { return Reshape(A, -1, -2, 3); }),
        isInt ? "SVMutableDoubleArray: Negative index in constructor"
              : word + "One of the new dimensions is negative.");
}

TYPED_TEST(WideArrayShape, CombinesColumns)
{
    const SVArray<TypeParam> A = counting<TypeParam>(2, 2), B = counting<TypeParam>(2);
    EXPECT_EQ(shown(CombineColumns(A, B)), "2x3x1: 0 1 2 3 0 1");
    EXPECT_EQ(resultOf([&] { return CombineColumns(A, counting<TypeParam>(3)); }),
        "CombineColumns(A,B): A and B have to have the same number of rows.");
    EXPECT_EQ(resultOf([&] { return CombineColumns(A, counting<TypeParam>(2, 2, 2)); }),
        "CombineColumns(A,B): A and B have to be two dimensional.");
}

TEST(ArrayCombination, HasAFormOfItsOwnForFloatAndForInt)
{
    const SVFloatArray A = counting<float>(2), B = counting<float>(2, 3);
    EXPECT_EQ(shown(CombineColumns(A, B, 2)), "2x3x1: 0 1 0 1 2 3");
    const SVIntArray I = counting<std::int32_t>(1, 2), J = counting<std::int32_t>(2, 2);
    EXPECT_EQ(shown(CombineRows(I, J)), "3x2x1: 0 0 1 1 2 3");
    EXPECT_THAT(reportsOf([&] {
        CombineColumns(A, B, 4);
        CombineRows(I, counting<std::int32_t>(2));
        CombineRows(J, counting<std::int32_t>(2, 2, 2));
    }),
        ElementsAre("CombineColumns(A,B,fromSecond): Too many columns specified.",
            "CombineRows(A,B): A and B have to have the same number of columns.",
            "CombineRows(A,B): A and B have to be one or two dimensional."));
}
