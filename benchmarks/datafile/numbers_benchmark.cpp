// A million named numbers: the file of a program with many small results.

#include "datafile/SVDataFile.h"

#include "benchmark_files.h"

#include <malloc.h>

#include <fstream>

namespace {

// The number of read calls of this process, from the system.
long readCalls()
{
    std::ifstream io("/proc/self/io");
    for (std::string word; io >> word;)
        if (word == "syscr:") {
            long calls = 0;
            io >> calls;
            return calls;
        }
    return 0;
}

void writeNumbers(const std::string& path, int count, bool withIndex)
{
    SVDataFile file(path, SVFile::NewReadWrite);
    for (int i = 0; i < count; ++i)
        file.Save(static_cast<double>(i), numberName(i));
    if (withIndex)
        file.SaveIndex();
}

void AppendNumbers(benchmark::State& state)
{
    const BenchmarkFile file(".svbin");
    for (auto _ : state)
        writeNumbers(file.path(), numberCount(state), false);
    countNumbers(state);
}

void openNumbers(benchmark::State& state, bool withIndex)
{
    const BenchmarkFile path(".svbin");
    const int count = numberCount(state);
    writeNumbers(path.path(), count, withIndex);
    double perEntry = 0;
    long calls = 0;
    for (auto _ : state) {
        const std::size_t before = mallinfo2().uordblks;
        const long callsBefore = readCalls();
        const SVDataFile file(path.path(), SVFile::ReadOnly);
        calls = readCalls() - callsBefore;
        perEntry = static_cast<double>(mallinfo2().uordblks - before) / count;
        if (!file.Contains(numberName(count - 1)))
            state.SkipWithError("a number is missing");
    }
    state.counters["read calls"] = static_cast<double>(calls); // Some are those of the count itself.
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

void sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(3);
}

BENCHMARK(AppendNumbers)->Apply(sizes);
BENCHMARK(OpenNumbersByScan)->Apply(sizes);
BENCHMARK(OpenNumbersByIndex)->Apply(sizes);

} // namespace
