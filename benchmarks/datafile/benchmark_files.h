#pragma once

#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>

// A file in the temporary folder that goes with its user. TMPDIR chooses the disk.
class BenchmarkFile {
public:
    explicit BenchmarkFile(const std::string& ending)
        : path_((std::filesystem::temp_directory_path() / ("datafile-benchmark" + ending)).string())
    {
        std::filesystem::remove(path_);
    }
    ~BenchmarkFile() { std::filesystem::remove(path_); }
    BenchmarkFile(const BenchmarkFile&) = delete;
    BenchmarkFile& operator=(const BenchmarkFile&) = delete;
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

// The numbers of the benchmarks of single numbers: how many, and under which names.
constexpr int kNumbers = 1'000'000;
inline std::string numberName(int i)
{
    return "number_" + std::to_string(i);
}
inline void countNumbers(benchmark::State& state)
{
    state.SetItemsProcessed(state.iterations() * kNumbers);
}
