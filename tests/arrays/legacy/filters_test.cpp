#include "arrays/legacy/KRArrayFilters.h"

#include "arrays/legacy/legacy_testing.h"
#include "diagnostics/ShownProgress.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <random>

using namespace legacytest;

namespace {

// Plain filters, an entry at a time, as the reference.
template <class T>
std::vector<T> neighbours(const KRArray<T>& A, long i, long j, long k)
{
    std::vector<T> found;
    for (long c = std::max(k - 1, 0L); c <= std::min(k + 1, A.o() - 1); ++c)
        for (long b = std::max(j - 1, 0L); b <= std::min(j + 1, A.n() - 1); ++b)
            for (long a = std::max(i - 1, 0L); a <= std::min(i + 1, A.m() - 1); ++a)
                found.push_back(A(a, b, c));
    return found;
}

template <class T>
T plainMean(std::vector<T> entries)
{
    const std::map<std::size_t, float> factors{{4, 0.25F}, {6, 0.16666667F}, {9, 0.11111111F}, {8, 0.125F},
        {12, 0.083333333F}, {18, 0.055555556F}, {27, 0.037037037F}};
    T sum = entries[0];
    for (std::size_t i = 1; i < entries.size(); ++i)
        sum += entries[i];
    return sum * static_cast<T>(factors.at(entries.size()));
}

template <class T>
T plainMedian(std::vector<T> entries)
{
    for (const T entry : entries)
        if (std::isnan(static_cast<double>(entry)))
            return entry;
    std::sort(entries.begin(), entries.end());
    return entries[entries.size() / 2];
}

template <class T>
KRMutableArray<T> filtered(const KRArray<T>& A, T (*filter)(std::vector<T>))
{
    KRMutableArray<T> M(A.m(), A.n(), A.o());
    for (long k = 0; k < A.o(); ++k)
        for (long j = 0; j < A.n(); ++j)
            for (long i = 0; i < A.m(); ++i)
                M(i, j, k) = filter(neighbours(A, i, j, k));
    return M;
}

// One pass of the Gaussian along an axis, with entries reached by their indices.
template <class T>
MutableDoubleArray plainPass(const KRArray<T>& A, double sigma, int axis)
{
    const double s = sigma * std::sqrt(2.0);
    double w[3] = {std::erf(0.5 / s), (std::erf(1.5 / s) - std::erf(0.5 / s)) / 2,
        (std::erf(2.5 / s) - std::erf(1.5 / s)) / 2};
    const double all = w[0] + 2 * w[1] + 2 * w[2];
    const long size[] = {A.m(), A.n(), A.o()};
    MutableDoubleArray M(A.m(), A.n(), A.o());
    for (long position = 0; position < A.Length(); ++position) {
        double sum = 0;
        for (long tap = -2; tap <= 2; ++tap) {
            long at[] = {position % A.m(), position / A.m() % A.n(), position / A.m() / A.n()};
            long& moved = at[axis];
            moved += tap;
            if (moved < 0)
                moved = -moved - 1;
            if (moved >= size[axis])
                moved = 2 * size[axis] - moved - 1;
            sum += w[std::abs(tap)] / all * static_cast<double>(A(at[0], at[1], at[2]));
        }
        M(position) = sum;
    }
    return M;
}

MutableFloatArray asFloats(const DoubleArray& A)
{
    MutableFloatArray M(A.m(), A.n(), A.o());
    for (long i = 0; i < A.Length(); ++i)
        M(i) = static_cast<float>(A(i));
    return M;
}

template <class T>
KRMutableArray<T> randomArray(const std::vector<long>& size, unsigned seed)
{
    std::mt19937 random(seed);
    KRMutableArray<T> A(size[0], size[1], size[2]);
    for (long i = 0; i < A.Length(); ++i)
        A(i) = static_cast<T>(static_cast<double>(random() % 60000) / (std::is_integral_v<T> ? 1 : 7));
    return A;
}

// Of each kind of boundary, and around the lengths of registers and buffers.
const std::vector<std::vector<long>> kImages{{2, 2, 1}, {2, 5, 1}, {5, 2, 1}, {3, 3, 1}, {5, 4, 1}, {6, 3, 1},
    {9, 5, 1}, {10, 2, 1}, {11, 7, 1}, {17, 4, 1}, {1026, 3, 1}, {1027, 4, 1}, {2051, 3, 1}};
const std::vector<std::vector<long>> kVolumes{
    {2, 2, 2}, {3, 2, 2}, {2, 3, 3}, {3, 3, 3}, {7, 5, 4}, {10, 4, 3}, {11, 3, 6}, {23, 3, 3}};

template <class T>
using Filter = bool (*)(const KRArray<T>&, KRMutableArray<T>&, const KRProgressCPP&);

template <class T>
void expectFilter(
    const KRArray<T>& A, T (*plain)(std::vector<T>), Filter<T> filter, Filter<T> filter2D, Filter<T> filter3D)
{
    SCOPED_TRACE(testing::Message() << A.m() << " x " << A.n() << " x " << A.o());
    const KRMutableArray<T> expected = filtered(A, plain);
    KRMutableArray<T> M(A.m(), A.n(), A.o()), N = M.Copy();
    M = N = T(3);
    ASSERT_TRUE(filter(A, M, {}));
    EXPECT_TRUE(M == expected);
    EXPECT_EQ(filter2D(A, N, {}), A.o() == 1);
    EXPECT_EQ(filter3D(A, N, {}), A.o() > 1);
    EXPECT_TRUE(N == expected);
    KRMutableArray<T> same = A.Copy();
    ASSERT_TRUE(filter(same, same, {})); // On itself.
    EXPECT_TRUE(same == expected);
}

template <class T>
void expectMean(const KRArray<T>& A)
{
    expectFilter<T>(A, plainMean<T>, MeanFilter<T>, MeanFilter2D<T>, MeanFilter3D<T>);
}

template <class T>
void expectMedian(const KRArray<T>& A)
{
    expectFilter<T>(A, plainMedian<T>, MedianFilter<T>, MedianFilter2D<T>, MedianFilter3D<T>);
}

TEST(Filters, MeansAreExactToTheLastBit)
{
    for (const auto& sizes : {kImages, kVolumes})
        for (const auto& size : sizes) {
            expectMean(randomArray<float>(size, 5));
            expectMean(randomArray<double>(size, 5));
        }
}

TEST(Filters, MediansAreEntriesOfTheNeighbourhoodOrNaNs)
{
    for (const auto& sizes : {kImages, kVolumes})
        for (const auto& size : sizes)
            for (unsigned seed = 1; seed < 4; ++seed) {
                expectMedian(randomArray<float>(size, seed));
                expectMedian(randomArray<std::uint16_t>(size, seed));
            }
    // With many equal entries, and in order.
    MutableFloatArray steps(40, 6);
    for (long i = 0; i < steps.Length(); ++i)
        steps(i) = static_cast<float>(i * i % 3);
    expectMedian(steps);
    expectMedian(counting<std::uint16_t>(20, 5, 4));
    MutableFloatArray four = vectorOf<float>({4, 1, 3, 2});
    four.Reshape(2, 2, 1);
    MutableFloatArray M(2, 2);
    EXPECT_TRUE(MedianFilter2D(four, M));
    EXPECT_EQ(shown(M), "2x2x1: 3 3 3 3");

    for (const auto& size : {std::vector<long>{20, 7, 1}, {12, 4, 4}})
        for (const long place : {0L, 25L, 79L}) {
            MutableFloatArray A = randomArray<float>(size, 9);
            A(place) = static_cast<float>(kNaN);
            A(60) = static_cast<float>(kInf);
            expectMedian(A);
        }
}

TEST(Filters, GaussiansMatchThePlainPasses)
{
    for (const auto& size : {std::vector<long>{3, 3, 1}, {4, 3, 1}, {5, 7, 1}, {3, 11, 1}, {30, 6, 1}})
        for (const double sigma : {0.3, 1.0, 4.0}) {
            const MutableFloatArray A = randomArray<float>(size, 2);
            const MutableFloatArray expected = asFloats(plainPass(plainPass(A, sigma, 0), sigma, 1));
            MutableFloatArray M(size[0], size[1]), N = M.Copy(), same = A.Copy();
            ASSERT_TRUE(GaussianSmoothing5pt(sigma, A, M));
            EXPECT_TRUE(M == expected) << sigma << " " << shown(A);
            EXPECT_TRUE(GaussianSmoothing2D(A, sigma, N) && N == expected);
            EXPECT_FALSE(GaussianSmoothing5pt3D(sigma, A, N));
            EXPECT_TRUE(GaussianSmoothing5pt2D(sigma, same, same) && same == expected);
        }
}

TEST(Filters, GaussiansOfVolumesAreTheirThreePasses)
{
    for (const auto& size : {std::vector<long>{3, 3, 3}, {5, 4, 7}, {9, 3, 4}}) {
        const double sigma = 0.8;
        const MutableFloatArray A = randomArray<float>(size, 4);
        const MutableDoubleArray first = plainPass(A, sigma, 0), second = plainPass(first, sigma, 1);
        const MutableFloatArray expected = asFloats(plainPass(second, sigma, 2));
        MutableFloatArray M(size[0], size[1], size[2]);
        MutableDoubleArray D(size[0], size[1], size[2]), E = D.Copy();
        ASSERT_TRUE(GaussianSmoothing5pt(sigma, A, M));
        EXPECT_TRUE(M == expected);
        EXPECT_FALSE(GaussianSmoothing5pt2D(sigma, A, M));
        EXPECT_TRUE(GaussianSmoothing5pt3D_1(sigma, A, D) && D == first);
        EXPECT_TRUE(GaussianSmoothing5pt3D_2(sigma, D, E) && E == second);
        EXPECT_TRUE(GaussianSmoothing5pt3D_2(sigma, D, D) && D == second);
        M = 0;
        EXPECT_TRUE(GaussianSmoothing5pt3D_3(sigma, D, M) && M == expected);
        // Slabs, of which two make the whole.
        const long o = size[2];
        MutableFloatArray slabs(size[0], size[1], o);
        slabs = -1;
        for (const SVRange& layers : {SVRange(1, o - 1), SVRange(0, 1)})
            EXPECT_TRUE(GaussianSmoothing3D_1(sigma, A, D, layers));
        for (const SVRange& layers : {SVRange(0, 2), SVRange(2, o - 2)})
            EXPECT_TRUE(GaussianSmoothing3D_2(sigma, D, E, layers));
        EXPECT_TRUE(GaussianSmoothing3D_3(sigma, E, slabs, SVRange(1, o - 1)) && slabs(0) == -1);
        EXPECT_TRUE(GaussianSmoothing3D_3(sigma, E, slabs, SVRange(0, 1)) && slabs == expected);
        for (const SVRange& bad :
            {SVRange(-1, 1), SVRange(0, o + 1), SVRange(o + 1, 0), SVRange(1, kMost), SVRange(1, -1)}) {
            EXPECT_FALSE(GaussianSmoothing3D_1(sigma, A, D, bad) || GaussianSmoothing3D_2(sigma, D, E, bad));
            EXPECT_FALSE(GaussianSmoothing3D_3(sigma, E, slabs, bad));
        }
    }
}

template <class T>
void expectRefused(
    const std::vector<Filter<T>>& filters, const std::vector<long>& from, const std::vector<long>& to)
{
    KRMutableArray<T> M(to[0], to[1], to[2]);
    M = T(7);
    for (const auto filter : filters)
        EXPECT_FALSE(filter(randomArray<T>(from, 1), M, {}));
    EXPECT_THAT(valuesOf(M), testing::Each(7));
}

TEST(Filters, RefuseOtherSizes)
{
    const std::vector<Filter<float>> gaussians{
        [](auto& A, auto& M, auto&) { return GaussianSmoothing2D(A, 1, M); },
        [](auto& A, auto& M, auto& progress) { return GaussianSmoothing5pt(1, A, M, progress); },
        [](auto& A, auto& M, auto& progress) { return GaussianSmoothing5pt2D(1, A, M, progress); },
        [](auto& A, auto& M, auto& progress) { return GaussianSmoothing5pt3D(1, A, M, progress); },
        [](const FloatArray& A, MutableFloatArray& M, const KRProgressCPP&) {
            MutableDoubleArray D(A.m(), A.n(), A.o()), E(M.m(), M.n(), M.o());
            return GaussianSmoothing5pt3D_1(1, A, E) || GaussianSmoothing5pt3D_2(1, D, E)
                || GaussianSmoothing5pt3D_3(1, D, M);
        }};
    const auto expectAllRefused = [&](const std::vector<long>& from, const std::vector<long>& to) {
        expectRefused<float>({MeanFilter<float>, MeanFilter2D<float>, MeanFilter3D<float>}, from, to);
        expectRefused<double>({MeanFilter<double>, MeanFilter2D<double>, MeanFilter3D<double>}, from, to);
        expectRefused<float>({MedianFilter<float>, MedianFilter2D<float>, MedianFilter3D<float>}, from, to);
        expectRefused<std::uint16_t>({MedianFilter, MedianFilter2D, MedianFilter3D}, from, to);
        expectRefused<float>(gaussians, from, to);
    };
    EXPECT_THAT(reportsOf([&] {
        for (const auto& size : {std::vector<long>{1, 5, 1}, {5, 1, 1}, {1, 5, 5}, {5, 1, 5}, {0, 0, 0}})
            expectAllRefused(size, size);
        for (const auto& size : {std::vector<long>{5, 4, 1}, {4, 5, 1}, {5, 5, 3}})
            expectAllRefused({5, 5, 1}, size);
        expectAllRefused({5, 5, 3}, {5, 5, 1});
        for (const auto& size : {std::vector<long>{2, 3, 1}, {3, 2, 1}, {3, 3, 2}})
            expectRefused<float>(gaussians, size, size);
    }),
        IsEmpty());
}

TEST(Filters, MediansNeedMemoryForTheirRows)
{
    const auto huge = [] {
        return MutableFloatArray::TakeOver(static_cast<float*>(std::malloc(1)), 2, 1L << 45);
    };
    MutableFloatArray M = huge();
    EXPECT_THAT(
        reportsOf([&] { EXPECT_FALSE(MedianFilter(huge(), M)); }), ElementsAre("Memory allocation failed"));
}

// The line of progress reaches its end, and its abort button ends the filter.
TEST(Filters, ShowProgressAndStop)
{
    ShownProgress shownProgress;
    const auto entry = shownProgress.addEntry();
    ASSERT_TRUE(shownProgress.line);
    const KRProgressCPP progress(entry);
    MutableFloatArray image = randomArray<float>({20, 20, 1}, 1),
                      volume = randomArray<float>({20, 20, 20}, 1);
    MutableDoubleArray D(20, 20, 20);
    const std::function<bool()> filters[] = {
        [&] { return MeanFilter(image, image, progress); },
        [&] { return MedianFilter(volume, volume, progress); },
        [&] { return GaussianSmoothing5pt(1, image, image, progress); },
        [&] { return GaussianSmoothing5pt(1, volume, volume, progress); },
        [&] { return GaussianSmoothing5pt3D_1(1, volume, D, progress); },
        [&] { return GaussianSmoothing5pt3D_2(1, D, D, progress); },
        [&] { return GaussianSmoothing5pt3D_3(1, D, volume, progress); },
    };
    for (const auto& filter : filters) {
        entry->updatePercentage(0);
        ASSERT_TRUE(shownProgress.reaches(0));
        EXPECT_TRUE(filter() && shownProgress.reaches(1));
    }
    shownProgress.line->abortButtonHit();
    for (const auto& filter : filters)
        EXPECT_FALSE(filter());
}

} // namespace
