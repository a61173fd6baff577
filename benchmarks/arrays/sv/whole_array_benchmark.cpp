#include "arrays/sv/SVArrayOperations.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>

// Operations on whole arrays beside memcpy, as bytes of the array for each second: of the larger one, where
// the element's width changes. So the quotient of two rates tells how long an operation takes beside the copy
// of its array. The blocks are far beyond the second cache. What gives a new array takes it from memory that
// was used before (see main): the first touch of new pages costs more than any of these operations, and the
// same for all of them.

namespace {

constexpr long kSide = 6000;
constexpr long kLength = kSide * kSide;

template <class T>
SVMutableArray<T> numbers()
{
    SVMutableArray<T> A(kSide, kSide);
    for (long i = 0; i < kLength; ++i)
        A.Pointer()[i] = static_cast<T>(i % 101);
    return A;
}

void setBytes(benchmark::State& state, std::size_t bytesForEachElement)
{
    state.SetBytesProcessed(state.iterations() * kLength * static_cast<long>(bytesForEachElement));
}

template <class T>
void Memcpy(benchmark::State& state)
{
    const SVArray<T> A = numbers<T>();
    SVMutableArray<T> M = A.Copy();
    for (auto _ : state) {
        std::memcpy(M.Pointer(), A.Pointer(), kLength * sizeof(T));
        benchmark::ClobberMemory();
    }
    setBytes(state, sizeof(T));
}
BENCHMARK(Memcpy<double>);
BENCHMARK(Memcpy<float>);
BENCHMARK(Memcpy<std::int16_t>);
BENCHMARK(Memcpy<unsigned char>);

// A function of one array that gives a new array or a number.
template <class T, auto function, std::size_t bytesForEachElement>
void Of(benchmark::State& state)
{
    const SVArray<T> A = numbers<T>();
    for (auto _ : state) {
        auto result = function(A);
        benchmark::DoNotOptimize(result);
        benchmark::ClobberMemory();
    }
    setBytes(state, bytesForEachElement);
}

template <class T>
void TransposeOf(benchmark::State& state)
{
    Of<T, Transpose<T>, sizeof(T)>(state);
}
BENCHMARK(TransposeOf<double>);
BENCHMARK(TransposeOf<float>);
BENCHMARK(TransposeOf<std::int16_t>);
BENCHMARK(TransposeOf<unsigned char>);

// As many bytes as the doubles have, which the smaller arrays of bytes above have not.
void MemcpyOfManyBytes(benchmark::State& state)
{
    SVMutableUCharArray from(17000, 17000), to(17000, 17000);
    from = 1;
    to = 2;
    for (auto _ : state) {
        std::memcpy(to.Pointer(), from.Pointer(), static_cast<std::size_t>(from.Length()));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * from.Length());
}
BENCHMARK(MemcpyOfManyBytes);

void TransposeOfManyBytes(benchmark::State& state)
{
    SVMutableUCharArray A(17000, 17000);
    A = 1;
    for (auto _ : state)
        benchmark::DoNotOptimize(Transpose(A));
    state.SetBytesProcessed(state.iterations() * A.Length());
}
BENCHMARK(TransposeOfManyBytes);

// Sides that are powers of two put all rows into the same cache sets.
void TransposeOfPowerOfTwo(benchmark::State& state)
{
    SVMutableDoubleArray A(4096, 4096);
    A = 1;
    for (auto _ : state)
        benchmark::DoNotOptimize(Transpose(A));
    state.SetBytesProcessed(state.iterations() * A.Length() * 8);
}
BENCHMARK(TransposeOfPowerOfTwo);

void TransposeOfLayers(benchmark::State& state)
{
    SVMutableDoubleArray A(330, 330, 330);
    A = 1;
    for (auto _ : state)
        benchmark::DoNotOptimize(Transpose(A));
    state.SetBytesProcessed(state.iterations() * A.Length() * 8);
}
BENCHMARK(TransposeOfLayers);

void FlipJOfDouble(benchmark::State& state)
{
    Of<double, FlipJ<double>, 8>(state);
}
BENCHMARK(FlipJOfDouble);

void MinimumOfDouble(benchmark::State& state)
{
    Of<double, [](const SVDoubleArray& A) { return Minimum(A); }, 8>(state);
}
BENCHMARK(MinimumOfDouble);

void MinimumOfUChar(benchmark::State& state)
{
    Of<unsigned char, [](const SVUCharArray& A) { return Minimum(A); }, 1>(state);
}
BENCHMARK(MinimumOfUChar);

void MinimumWithPosition(benchmark::State& state)
{
    Of<double,
        [](const SVDoubleArray& A) {
            long position;
            return Minimum(A, position);
        },
        8>(state);
}
BENCHMARK(MinimumWithPosition);

void MeanOfDouble(benchmark::State& state)
{
    Of<double, Mean<double>, 8>(state);
}
BENCHMARK(MeanOfDouble);

void InfinityNormOfDouble(benchmark::State& state)
{
    Of<double, InfinityNorm, 8>(state);
}
BENCHMARK(InfinityNormOfDouble);

void ContainsNonFiniteOfDouble(benchmark::State& state)
{
    Of<double, ContainsNonFinite, 8>(state);
}
BENCHMARK(ContainsNonFiniteOfDouble);

void MaximumAgainstNumber(benchmark::State& state)
{
    Of<double, [](const SVDoubleArray& A) { return Maximum(A, 50.0); }, 8>(state);
}
BENCHMARK(MaximumAgainstNumber);

void IntSum(benchmark::State& state)
{
    Of<std::int32_t, [](const SVIntArray& A) { return A + A; }, 4>(state);
}
BENCHMARK(IntSum);

template <class From, class To>
void Convert(benchmark::State& state)
{
    const SVArray<From> A = numbers<From>();
    SVMutableArray<To> M(kSide, kSide);
    M = 0;
    for (auto _ : state) {
        ConvertArray(A, M);
        benchmark::ClobberMemory();
    }
    setBytes(state, std::max(sizeof(From), sizeof(To)));
}
BENCHMARK(Convert<double, float>);
BENCHMARK(Convert<float, double>);
BENCHMARK(Convert<double, std::int32_t>);
BENCHMARK(Convert<std::int32_t, double>);
BENCHMARK(Convert<double, std::int16_t>);
BENCHMARK(Convert<std::uint16_t, float>);
BENCHMARK(Convert<std::int32_t, std::int16_t>);
BENCHMARK(Convert<unsigned char, double>);
BENCHMARK(Convert<double, unsigned char>);
BENCHMARK(Convert<unsigned char, std::int16_t>);
BENCHMARK(Convert<std::int16_t, signed char>);

template <class T, auto change>
void InPlace(benchmark::State& state)
{
    SVMutableArray<T> M = numbers<T>();
    const SVArray<T> A = numbers<T>();
    for (auto _ : state) {
        change(M, A);
        benchmark::ClobberMemory();
    }
}

template <class T>
void SwapEndianOf(benchmark::State& state)
{
    InPlace<T, [](SVMutableArray<T>& M, const SVArray<T>&) { SwapEndian(M); }>(state);
    setBytes(state, sizeof(T));
}
BENCHMARK(SwapEndianOf<double>);
BENCHMARK(SwapEndianOf<float>);
BENCHMARK(SwapEndianOf<std::int16_t>);

void TimesNumber(benchmark::State& state)
{
    InPlace<double, [](SVMutableDoubleArray& M, const SVDoubleArray&) { M *= 1.0; }>(state);
    setBytes(state, 8);
}
BENCHMARK(TimesNumber);

void PlusArray(benchmark::State& state)
{
    InPlace<double, [](SVMutableDoubleArray& M, const SVDoubleArray& A) { M += A; }>(state);
    setBytes(state, 8);
}
BENCHMARK(PlusArray);

void FillWithNumber(benchmark::State& state)
{
    InPlace<double, [](SVMutableDoubleArray& M, const SVDoubleArray&) { M = 1.5; }>(state);
    setBytes(state, 8);
}
BENCHMARK(FillWithNumber);

} // namespace
