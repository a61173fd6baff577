// A million named numbers: the file of a program that notes a great many small results.

#include "datafile/SVDataFile.h"

#include "benchmark_files.h"

#include <malloc.h>

namespace {

void writeNumbers(const std::string& path, bool withIndex)
{
    SVDataFile file(path, SVFile::NewReadWrite);
    for (int i = 0; i < kNumbers; ++i)
        file.Save(static_cast<double>(i), numberName(i));
    if (withIndex)
        file.SaveIndex();
}

void AppendNumbers(benchmark::State& state)
{
    const BenchmarkFile file(".svbin");
    for (auto _ : state)
        writeNumbers(file.path(), false);
    countNumbers(state);
}

void openNumbers(benchmark::State& state, bool withIndex)
{
    const BenchmarkFile path(".svbin");
    writeNumbers(path.path(), withIndex);
    double perEntry = 0;
    for (auto _ : state) {
        const std::size_t before = mallinfo2().uordblks;
        const SVDataFile file(path.path(), SVFile::ReadOnly);
        perEntry = static_cast<double>(mallinfo2().uordblks - before) / kNumbers;
        if (!file.Contains(numberName(kNumbers - 1)))
            state.SkipWithError("a number is missing");
    }
    state.counters["bytes/entry"] = perEntry; // The name's bytes among them.
    countNumbers(state);
}

void OpenNumbersByScan(benchmark::State& state)
{
    openNumbers(state, false);
}

void OpenNumbersByIndex(benchmark::State& state)
{
    openNumbers(state, true);
}

BENCHMARK(AppendNumbers)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(3);
BENCHMARK(OpenNumbersByScan)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(3);
BENCHMARK(OpenNumbersByIndex)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(3);

} // namespace
