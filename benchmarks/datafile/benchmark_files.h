#pragma once

#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>

// A temporary file that is removed with its owner. TMPDIR chooses the disk.
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

// The argument of the benchmarks of single numbers is how many there are, for SVDataFile and for HDF5.
inline int numberCount(const benchmark::State& state)
{
    return static_cast<int>(state.range(0));
}
inline std::string numberName(int i)
{
    return "number_" + std::to_string(i);
}
inline void countNumbers(benchmark::State& state)
{
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
