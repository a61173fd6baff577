#include "arrays/sv/SVDoubleArray.h"

#include <benchmark/benchmark.h>

// A loop over i and j with the bounds test of operator(), beside the same loop over the raw pointer. The
// loops are functions, as in a program. The arrays fit the first cache, the second, and none.

namespace {

#define NOT_INLINED [[gnu::noinline]]

NOT_INLINED void fillByAccess(SVMutableDoubleArray& A, double x)
{
    for (long j = 0; j < A.n(); ++j)
        for (long i = 0; i < A.m(); ++i)
            A(i, j) = x;
}

NOT_INLINED void fillByPointer(SVMutableDoubleArray& A, double x)
{
    double* const a = A.Pointer();
    const long m = A.m(), n = A.n();
    for (long j = 0; j < n; ++j)
        for (long i = 0; i < m; ++i)
            a[i + j * m] = x;
}

NOT_INLINED void computeByAccess(SVMutableDoubleArray& A, double x)
{
    for (long j = 0; j < A.n(); ++j)
        for (long i = 0; i < A.m(); ++i)
            A(i, j) = x * static_cast<double>(i) + static_cast<double>(j);
}

NOT_INLINED void computeByPointer(SVMutableDoubleArray& A, double x)
{
    double* const a = A.Pointer();
    const long m = A.m(), n = A.n();
    for (long j = 0; j < n; ++j)
        for (long i = 0; i < m; ++i)
            a[i + j * m] = x * static_cast<double>(i) + static_cast<double>(j);
}

template <class Array>
NOT_INLINED double sumByAccess(Array& A)
{
    double sum = 0;
    for (long j = 0; j < A.n(); ++j)
        for (long i = 0; i < A.m(); ++i)
            sum += A(i, j);
    return sum;
}

NOT_INLINED double sumByPointer(SVMutableDoubleArray& A)
{
    const double* const a = A.Pointer();
    const long m = A.m(), n = A.n();
    double sum = 0;
    for (long j = 0; j < n; ++j)
        for (long i = 0; i < m; ++i)
            sum += a[i + j * m];
    return sum;
}

template <auto fill>
void Fill(benchmark::State& state)
{
    SVMutableDoubleArray A(state.range(0), state.range(0));
    A = 0;
    for (auto _ : state) {
        fill(A, 1.5);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * A.Length());
}

template <auto sum>
void Sum(benchmark::State& state)
{
    SVMutableDoubleArray A(state.range(0), state.range(0));
    A = 1.5;
    for (auto _ : state)
        benchmark::DoNotOptimize(sum(A));
    state.SetItemsProcessed(state.iterations() * A.Length());
}

BENCHMARK(Fill<fillByAccess>)->Arg(48)->Arg(400)->Arg(4000);
BENCHMARK(Fill<fillByPointer>)->Arg(48)->Arg(400)->Arg(4000);
BENCHMARK(Fill<computeByAccess>)->Arg(48)->Arg(400)->Arg(4000);
BENCHMARK(Fill<computeByPointer>)->Arg(48)->Arg(400)->Arg(4000);
BENCHMARK(Sum<sumByAccess<SVMutableDoubleArray>>)->Arg(48)->Arg(400)->Arg(4000);
BENCHMARK(Sum<sumByAccess<const SVMutableDoubleArray>>)->Arg(48)->Arg(400)->Arg(4000);
BENCHMARK(Sum<sumByPointer>)->Arg(48)->Arg(400)->Arg(4000);

} // namespace
