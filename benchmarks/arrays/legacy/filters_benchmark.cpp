#include "arrays/legacy/KRArrayFilters.h"

#include "BenchmarkMain.h"

#include <random>

// The filters on 4096 x 4096 entries, on one thread. Beside them, where the library is installed, those of
// OpenCV on the same image.

namespace {

template <class T>
KRMutableArray<T> image()
{
    constexpr long kSide = 4096;
    KRMutableArray<T> A(kSide, kSide);
    std::mt19937 random(1);
    for (long i = 0; i < A.Length(); ++i)
        A.Pointer()[i] = static_cast<T>(random() % 65536);
    return A;
}

// In bytes of the image.
template <class T, class Filter>
void run(benchmark::State& state, Filter filter)
{
    const KRMutableArray<T> A = image<T>();
    KRMutableArray<T> M = A.Copy();
    for (auto _ : state) {
        filter(A, M);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * A.Length() * static_cast<long>(sizeof(T)));
}

template <class T>
void Mean3x3(benchmark::State& state)
{
    run<T>(state, [](const KRArray<T>& A, KRMutableArray<T>& M) { MeanFilter2D(A, M); });
}

template <class T>
void Median3x3(benchmark::State& state)
{
    run<T>(state, [](const KRArray<T>& A, KRMutableArray<T>& M) { MedianFilter2D(A, M); });
}

void Gaussian5(benchmark::State& state)
{
    run<float>(state, [](const FloatArray& A, MutableFloatArray& M) { GaussianSmoothing5pt2D(1, A, M); });
}

BENCHMARK(Mean3x3<float>)->Unit(benchmark::kMillisecond);
BENCHMARK(Median3x3<float>)->Unit(benchmark::kMillisecond);
BENCHMARK(Median3x3<std::uint16_t>)->Unit(benchmark::kMillisecond);
BENCHMARK(Gaussian5)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    return runBenchmarks(argc, argv);
}
