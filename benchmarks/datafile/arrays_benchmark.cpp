// Large arrays, beside bare stdio on the same bytes. No benchmark here flushes to the disk.

#include "datafile/SVDataFile.h"

#include "benchmark_files.h"

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace {

constexpr int kArrays = 1000;
constexpr long kElements = (1 << 20) / 8;
constexpr std::size_t kBytes = kElements * sizeof(double);

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using Stream = std::unique_ptr<std::FILE, CloseFile>;

void countBytes(benchmark::State& state)
{
    state.SetBytesProcessed(state.iterations() * kArrays * static_cast<std::int64_t>(kBytes));
}

std::string arrayName(int i)
{
    return "array_" + std::to_string(i);
}

void writeArrays(const std::string& path, const SVDoubleArray& array)
{
    SVDataFile file(path, SVFile::NewReadWrite);
    for (int i = 0; i < kArrays; ++i)
        file.Save(array, arrayName(i));
}

SVMutableDoubleArray ones()
{
    SVMutableDoubleArray array(kElements);
    array = 1;
    return array;
}

void AppendArrays(benchmark::State& state)
{
    const SVDoubleArray array = ones();
    const BenchmarkFile file(".svbin");
    writeArrays(file.path(), array);
    for (auto _ : state) {
        state.PauseTiming();
        std::filesystem::remove(file.path());
        state.ResumeTiming();
        writeArrays(file.path(), array);
    }
    countBytes(state);
}

void AppendArraysWithFwrite(benchmark::State& state)
{
    const SVDoubleArray array = ones();
    const BenchmarkFile file(".raw");
    for (auto _ : state) {
        state.PauseTiming();
        std::filesystem::remove(file.path());
        state.ResumeTiming();
        const Stream stream(std::fopen(file.path().c_str(), "wb"));
        for (int i = 0; i < kArrays; ++i)
            std::fwrite(array.Pointer(), 1, kBytes, stream.get());
    }
    countBytes(state);
}

void ReadArrays(benchmark::State& state)
{
    const BenchmarkFile path(".svbin");
    writeArrays(path.path(), ones());
    for (auto _ : state) {
        const SVDataFile file(path.path(), SVFile::ReadOnly);
        for (int i = 0; i < kArrays; ++i)
            benchmark::DoNotOptimize(file.ReadDoubleArray(arrayName(i)).Pointer());
    }
    countBytes(state);
}

void ReadArraysWithFread(benchmark::State& state)
{
    const BenchmarkFile path(".svbin");
    writeArrays(path.path(), ones());
    for (auto _ : state) {
        const Stream stream(std::fopen(path.path().c_str(), "rb"));
        for (int i = 0; i < kArrays; ++i) {
            // A new block for each, as for a reader that keeps them.
            const std::unique_ptr<double[]> block(new double[kElements]);
            benchmark::DoNotOptimize(std::fread(block.get(), 1, kBytes, stream.get()));
        }
    }
    countBytes(state);
}

// 1,000 arrays of 10 MB in a sparse file.
void OpenSparseFile(benchmark::State& state)
{
    const BenchmarkFile path(".svbin");
    constexpr std::int64_t kEntry = 10'000'000;
    {
        const Stream stream(std::fopen(path.path().c_str(), "wb"));
        std::fwrite("Sorvanta Binary File LE", 1, 24, stream.get());
        for (int i = 0; i < kArrays; ++i) {
            const std::string name = arrayName(i);
            const auto nameLength = static_cast<std::int32_t>(name.size() + 1);
            const std::int32_t fields[] = {1, static_cast<std::int32_t>((kEntry - 64) / 8), 1, 1, nameLength};
            fseeko(stream.get(), 24 + i * kEntry, SEEK_SET);
            std::fwrite(&kEntry, sizeof kEntry, 1, stream.get());
            std::fwrite(fields, sizeof fields, 1, stream.get());
            std::fwrite(name.c_str(), 1, static_cast<std::size_t>(nameLength), stream.get());
        }
        std::fflush(stream.get());
        if (ftruncate(fileno(stream.get()), 24 + kArrays * kEntry) != 0)
            state.SkipWithError("no room for a sparse file");
    }
    std::size_t entries = 0;
    for (auto _ : state)
        entries = SVDataFile(path.path(), SVFile::ReadOnly).AllVariableNames().size();
    state.counters["entries"] = static_cast<double>(entries);
}

BENCHMARK(AppendArraysWithFwrite)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(4);
BENCHMARK(AppendArrays)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(4);
BENCHMARK(ReadArraysWithFread)->Unit(benchmark::kMillisecond)->Iterations(2)->Repetitions(4);
BENCHMARK(ReadArrays)->Unit(benchmark::kMillisecond)->Iterations(2)->Repetitions(4);
BENCHMARK(OpenSparseFile)->Unit(benchmark::kMillisecond);

} // namespace
