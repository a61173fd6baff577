#include "arrays/sv/SVArrayOperations.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <type_traits>

// Operations on whole arrays beside memcpy, in bytes read and written per second, so that rates can be
// compared. All of them move 0.4 to 0.9 GB, which is beyond the caches. New arrays come from memory that was
// used before (see main): the first touch of new pages costs more than any of these operations.

namespace {

// A square array of 400 MB; with two types, of the wider one.
template <class T, class Wider = T>
SVMutableArray<T> numbers()
{
    const long side = sizeof(Wider) == 8 ? 7000
        : sizeof(Wider) == 4             ? 10000
        : sizeof(Wider) == 2             ? 14000
                                         : 20000;
    SVMutableArray<T> A(side, side);
    for (long i = 0; i < A.Length(); ++i)
        A.Pointer()[i] = static_cast<T>(i % 101);
    return A;
}

void setMoved(benchmark::State& state, long elements, std::size_t bytesForEachElement)
{
    state.SetBytesProcessed(state.iterations() * elements * static_cast<long>(bytesForEachElement));
}

void Memcpy(benchmark::State& state)
{
    const SVDoubleArray A = numbers<double>();
    SVMutableDoubleArray M = A.Copy();
    for (auto _ : state) {
        std::memcpy(M.Pointer(), A.Pointer(), static_cast<std::size_t>(A.Length()) * sizeof(double));
        benchmark::ClobberMemory();
    }
    setMoved(state, A.Length(), 16);
}
BENCHMARK(Memcpy)->Repetitions(5);

// A function of one array that gives a new array or a number.
template <class T, auto function, std::size_t bytesMovedForEach>
void Of(benchmark::State& state)
{
    const SVArray<T> A = numbers<T>();
    benchmark::DoNotOptimize(function(A)); // Has the memory of the results brought in.
    for (auto _ : state) {
        auto result = function(A);
        benchmark::DoNotOptimize(result);
        benchmark::ClobberMemory();
    }
    setMoved(state, A.Length(), bytesMovedForEach);
}

template <class T>
void TransposeOf(benchmark::State& state)
{
    Of<T, Transpose<T>, 2 * sizeof(T)>(state);
}
BENCHMARK(TransposeOf<double>);
BENCHMARK(TransposeOf<float>);
BENCHMARK(TransposeOf<std::int16_t>);
BENCHMARK(TransposeOf<unsigned char>);

// Sides that are powers of two put all rows into the same cache sets.
template <class T>
void TransposeOfPowerOfTwo(benchmark::State& state)
{
    SVMutableArray<T> A(8192, 65536 / static_cast<long>(sizeof(T)));
    A = 1;
    benchmark::DoNotOptimize(Transpose(A)); // Has the memory of the results brought in.
    for (auto _ : state)
        benchmark::DoNotOptimize(Transpose(A));
    setMoved(state, A.Length(), 2 * sizeof(T));
}
BENCHMARK(TransposeOfPowerOfTwo<double>);
BENCHMARK(TransposeOfPowerOfTwo<float>);
BENCHMARK(TransposeOfPowerOfTwo<unsigned char>);

void TransposeOfLayers(benchmark::State& state)
{
    SVMutableDoubleArray A(370, 370, 370);
    A = 1;
    benchmark::DoNotOptimize(Transpose(A)); // Has the memory of the results brought in.
    for (auto _ : state)
        benchmark::DoNotOptimize(Transpose(A));
    setMoved(state, A.Length(), 16);
}
BENCHMARK(TransposeOfLayers);

void FlipJOfDouble(benchmark::State& state)
{
    Of<double, FlipJ<double>, 16>(state);
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
            return Minimum(A, &position);
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
    Of<double, [](const SVDoubleArray& A) { return Maximum(A, 50.0); }, 16>(state);
}
BENCHMARK(MaximumAgainstNumber);

void IntSum(benchmark::State& state)
{
    Of<std::int32_t, [](const SVIntArray& A) { return A + A; }, 8>(state);
}
BENCHMARK(IntSum);

template <class From, class To>
void Convert(benchmark::State& state)
{
    const SVArray<From> A = numbers<From, std::conditional_t<(sizeof(From) > sizeof(To)), From, To>>();
    SVMutableArray<To> M(A.m(), A.n());
    M = 0;
    for (auto _ : state) {
        ConvertArray(A, M);
        benchmark::ClobberMemory();
    }
    setMoved(state, A.Length(), sizeof(From) + sizeof(To));
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

// A change of an array in place, with another one or without.
template <class T, auto change, std::size_t bytesMovedForEach>
void InPlace(benchmark::State& state)
{
    SVMutableArray<T> M = numbers<T>();
    const SVArray<T> A = numbers<T>();
    for (auto _ : state) {
        change(M, A);
        benchmark::ClobberMemory();
    }
    setMoved(state, M.Length(), bytesMovedForEach);
}

template <class T>
void SwapEndianOf(benchmark::State& state)
{
    InPlace<T, [](SVMutableArray<T>& M, const SVArray<T>&) { SwapEndian(M); }, 2 * sizeof(T)>(state);
}
BENCHMARK(SwapEndianOf<double>);
BENCHMARK(SwapEndianOf<float>);
BENCHMARK(SwapEndianOf<std::int16_t>);

void TimesNumber(benchmark::State& state)
{
    InPlace<double, [](SVMutableDoubleArray& M, const SVDoubleArray&) { M *= 1.0; }, 16>(state);
}
BENCHMARK(TimesNumber);

void PlusArray(benchmark::State& state)
{
    InPlace<double, [](SVMutableDoubleArray& M, const SVDoubleArray& A) { M += A; }, 24>(state);
}
BENCHMARK(PlusArray);

void FillWithNumber(benchmark::State& state)
{
    InPlace<double, [](SVMutableDoubleArray& M, const SVDoubleArray&) { M = 1.5; }, 8>(state);
}
BENCHMARK(FillWithNumber);

} // namespace
