#include "arrays/legacy/KRArrayFilters.h"
#include "arrays/legacy/KRArrayInternal.h"
#include "arrays/legacy/KRNeighbourRows.h"
#include "arrays/legacy/KRWideLoops.h"

#include <array>
#include <cmath>
#include <functional>
#include <numbers>

using namespace krinternal;

namespace {

constexpr long kTaps = 5;
constexpr long kReach = kTaps / 2;

// Of the entry itself and of the two on each side; together 1.
struct Weights {
    double w0;
    double w1;
    double w2;

    explicit Weights(double sigma)
    {
        const double s = sigma * std::numbers::sqrt2;
        w0 = std::erf(0.5 / s);
        w1 = (std::erf(1.5 / s) - std::erf(0.5 / s)) / 2;
        w2 = (std::erf(2.5 / s) - std::erf(1.5 / s)) / 2;
        const double sum = w0 + 2 * w1 + 2 * w2;
        w0 /= sum;
        w1 /= sum;
        w2 /= sum;
    }
};

// The entry that stands at a position up to two beyond the boundary, with the edge repeated.
long mirrored(long i, long count)
{
    return i < 0 ? -1 - i : i >= count ? 2 * count - 1 - i : i;
}

using FiveRows = std::array<const double*, kTaps>;

// The rows around row i of `count`; place(row) is where a row stands.
template <class Place>
FiveRows rowsAround(long i, long count, Place place)
{
    FiveRows rows;
    for (long tap = 0; tap < kTaps; ++tap)
        rows[static_cast<std::size_t>(tap)] = place(mirrored(i - kReach + tap, count));
    return rows;
}

// The sum over five rows. Its order is settled: results are compared with older ones.
template <class To>
[[gnu::always_inline]] inline void sumOfRows(
    const FiveRows& row, long count, const Weights& weights, To* __restrict to)
{
    const auto [a, b, c, d, e] = row;
    const auto [w0, w1, w2] = weights;
    for (long i = 0; i < count; ++i)
        to[i] = static_cast<To>(w2 * a[i] + w1 * b[i] + w0 * c[i] + w1 * d[i] + w2 * e[i]);
}

KR_WIDE_LOOP void combineRows(const FiveRows& row, long count, const Weights& weights, double* to)
{
    sumOfRows(row, count, weights, to);
}

KR_WIDE_LOOP void combineRows(const FiveRows& row, long count, const Weights& weights, float* to)
{
    sumOfRows(row, count, weights, to);
}

KR_WIDE_LOOP void copyAsDoubles(const float* from, long count, double* to)
{
    for (long i = 0; i < count; ++i)
        to[i] = from[i];
}

// A row along itself. The buffer has room for two more entries on each side.
void smoothRow(const float* from, long m, const Weights& weights, MutableDoubleArray& buffer, double* to)
{
    double* const padded = buffer.Pointer();
    copyAsDoubles(from, m, padded + kReach);
    for (long i = 1; i <= kReach; ++i) {
        padded[kReach - i] = from[mirrored(-i, m)];
        padded[kReach + m - 1 + i] = from[mirrored(m - 1 + i, m)];
    }
    combineRows({padded, padded + 1, padded + 2, padded + 3, padded + 4}, m, weights, to);
}

// Empty without memory for it, as every array here.
MutableDoubleArray rowBuffer(long m)
{
    return MutableDoubleArray(m + 2 * kReach);
}

// The five rows around each row of a source that is smoothed as it comes: no more of it is kept.
class RowWindow {
public:
    // smooth(i, to) gives row i, of `length` entries; it and combine() answer false without memory.
    template <class Smooth>
    RowWindow(long count, long length, Smooth smooth)
        : count_(count), length_(length), smooth_(smooth), rows_(length, kTaps)
    { }

    // To be called for each row in order, from 0.
    template <class To>
    bool combine(long i, const Weights& weights, To* to)
    {
        for (; next_ <= std::min(i + kReach, count_ - 1); ++next_)
            if (rows_.IsEmpty() || !smooth_(next_, place(next_)))
                return false;
        combineRows(rowsAround(i, count_, [&](long row) { return place(row); }), length_, weights, to);
        return true;
    }

private:
    double* place(long i) { return rows_.Pointer() + i % kTaps * length_; }

    long count_;
    long length_;
    std::function<bool(long, double*)> smooth_;
    MutableDoubleArray rows_;
    long next_ = 0; // The first row that hasn't been smoothed.
};

// An image, or a layer, along both of its indices. goesOn(rows) is asked after each row; its false ends it.
template <class To, class GoesOn>
bool smoothLayer(const float* from, long m, long n, const Weights& weights, To* to, GoesOn goesOn)
{
    MutableDoubleArray buffer = rowBuffer(m);
    RowWindow window(n, m, [&](long j, double* row) {
        if (buffer.NotEmpty())
            smoothRow(from + j * m, m, weights, buffer, row);
        return buffer.NotEmpty();
    });
    for (long j = 0; j < n; ++j)
        if (!window.combine(j, weights, to + j * m) || !goesOn(j + 1))
            return false;
    return true;
}

bool smoothImage(double sigma, const FloatArray& A, MutableFloatArray& M, const KRProgressCPP& progress)
{
    const FloatArray source = sourceFor(M, A);
    if (source.IsEmpty()) // No memory for the copy.
        return false;
    const long n = A.n();
    return smoothLayer(source.Pointer(), A.m(), n, Weights(sigma), M.Pointer(), [&](long j) {
        progress.UpdatePercentage(static_cast<float>(j) / static_cast<float>(n));
        return !progress.UserHasAborted();
    });
}

bool smoothVolume(double sigma, const FloatArray& A, MutableFloatArray& M, const KRProgressCPP& progress)
{
    const FloatArray source = sourceFor(M, A);
    if (source.IsEmpty())
        return false;
    const Weights weights(sigma);
    const long m = A.m(), n = A.n(), o = A.o();
    RowWindow window(o, m * n, [&](long k, double* layer) {
        return smoothLayer(source.Pointer() + k * m * n, m, n, weights, layer, [](long) { return true; });
    });
    for (long k = 0; k < o; ++k) {
        if (!window.combine(k, weights, M.Pointer() + k * m * n))
            return false;
        progress.UpdatePercentage(static_cast<float>(k + 1) / static_cast<float>(o));
        if (progress.UserHasAborted())
            return false;
    }
    return true;
}

template <class A, class M>
bool fits(const A& source, const M& target, const SVRange& layers)
{
    return isVolume(source, kReach + 1) && haveSameSize(source, target) && layers.start >= 0
        && layers.length >= 0 && layers.start <= source.o() && layers.length <= source.o() - layers.start;
}

// A pass over a volume, a layer at a time. passLayers(layers) is the slab form of the pass.
template <class A, class PassLayers>
bool passOver(const A& source, const KRProgressCPP& progress, PassLayers passLayers)
{
    for (long k = 0; k < source.o(); ++k) {
        if (progress.UserHasAborted() || !passLayers(SVRange(k, 1)))
            return false;
        progress.UpdatePercentage(static_cast<float>(k + 1) / static_cast<float>(source.o()));
    }
    return source.NotEmpty();
}

} // namespace

bool GaussianSmoothing5pt(
    double sigma, const FloatArray& A, MutableFloatArray& M, const KRProgressCPP& progress)
{
    return A.o() == 1 ? GaussianSmoothing5pt2D(sigma, A, M, progress)
                      : GaussianSmoothing5pt3D(sigma, A, M, progress);
}

bool GaussianSmoothing5pt2D(
    double sigma, const FloatArray& A, MutableFloatArray& M, const KRProgressCPP& progress)
{
    return isImage(A, kReach + 1) && haveSameSize(A, M) && smoothImage(sigma, A, M, progress);
}

bool GaussianSmoothing5pt3D(
    double sigma, const FloatArray& A, MutableFloatArray& M, const KRProgressCPP& progress)
{
    return isVolume(A, kReach + 1) && haveSameSize(A, M) && smoothVolume(sigma, A, M, progress);
}

bool GaussianSmoothing2D(const FloatArray& A, double sigma, MutableFloatArray& M)
{
    return GaussianSmoothing5pt2D(sigma, A, M);
}

bool GaussianSmoothing5pt3D_1(
    double sigma, const FloatArray& A, MutableDoubleArray& M, const KRProgressCPP& progress)
{
    return passOver(
        A, progress, [&](const SVRange& layers) { return GaussianSmoothing3D_1(sigma, A, M, layers); });
}

bool GaussianSmoothing5pt3D_2(
    double sigma, const DoubleArray& A, MutableDoubleArray& M, const KRProgressCPP& progress)
{
    const DoubleArray source = sourceFor(M, A);
    return passOver(
        A, progress, [&](const SVRange& layers) { return GaussianSmoothing3D_2(sigma, source, M, layers); });
}

bool GaussianSmoothing5pt3D_3(
    double sigma, const DoubleArray& A, MutableFloatArray& M, const KRProgressCPP& progress)
{
    return passOver(
        A, progress, [&](const SVRange& layers) { return GaussianSmoothing3D_3(sigma, A, M, layers); });
}

bool GaussianSmoothing3D_1(double sigma, const FloatArray& A, MutableDoubleArray& M, const SVRange& layers)
{
    if (!fits(A, M, layers))
        return false;
    const Weights weights(sigma);
    const long m = A.m();
    MutableDoubleArray buffer = rowBuffer(m);
    if (buffer.IsEmpty())
        return false;
    for (long row = layers.start * A.n(); row < layers.end() * A.n(); ++row)
        smoothRow(A.Pointer() + row * m, m, weights, buffer, M.Pointer() + row * m);
    return true;
}

bool GaussianSmoothing3D_2(double sigma, const DoubleArray& A, MutableDoubleArray& M, const SVRange& layers)
{
    if (!fits(A, M, layers))
        return false;
    const Weights weights(sigma);
    const long m = A.m(), n = A.n();
    for (long k = layers.start; k < layers.end(); ++k) {
        for (long j = 0; j < n; ++j) {
            const auto rows = rowsAround(j, n, [&](long row) { return A.Pointer() + (k * n + row) * m; });
            combineRows(rows, m, weights, M.Pointer() + (k * n + j) * m);
        }
    }
    return true;
}

bool GaussianSmoothing3D_3(double sigma, const DoubleArray& A, MutableFloatArray& M, const SVRange& layers)
{
    if (!fits(A, M, layers))
        return false;
    const Weights weights(sigma);
    const long size = A.m() * A.n();
    for (long k = layers.start; k < layers.end(); ++k) {
        const auto rows = rowsAround(k, A.o(), [&](long layer) { return A.Pointer() + layer * size; });
        combineRows(rows, size, weights, M.Pointer() + k * size);
    }
    return true;
}
