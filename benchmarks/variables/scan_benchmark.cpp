// What a user waits for until the variables of a large file are shown: the scan beside listing the same file.

#include "BenchmarkMain.h"
#include "arrays/sv/SVDoubleArray.h"
#include "datafile/SVDataFile.h"
#include "storage/KRDataFile.h"
#include "variables/scan/KRVariableInformation.h"

#include <benchmark/benchmark.h>

#include <malloc.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <string>

namespace {

// A folder that goes with its owner. TMPDIR chooses the disk.
class Folder {
public:
    Folder()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "scan-benchmark-XXXXXX").string();
        path_ = mkdtemp(pattern.data());
    }
    ~Folder() { std::filesystem::remove_all(path_); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

std::string madeOnce(const char* name, const std::function<void(SVDataFile&)>& fill)
{
    static const Folder folder;
    const std::string path = folder / name;
    if (!std::filesystem::exists(path)) {
        SVDataFile file(path, SVFile::NewReadWrite);
        fill(file);
    }
    return path;
}

// 10,000 variables of 50 values, each with its own time or all in one list: a million entries, or half of
// them.
std::string seriesFile(bool timesOneByOne)
{
    return madeOnce(timesOneByOne ? "single.svbin" : "lists.svbin", [timesOneByOne](SVDataFile& file) {
        for (int v = 0; v < 10'000; ++v) {
            const std::string name = "variable_" + std::to_string(v);
            file.Save("Real Number", "Seq_" + name);
            SVMutableDoubleArray times(50);
            for (int k = 0; k < 50; ++k) {
                times(k) = 0.5 * k;
                const std::string value = name + "_" + std::to_string(k);
                if (timesOneByOne)
                    file.Save(times(k), value + "_time");
                file.Save(1.0 * k, value);
            }
            if (!timesOneByOne)
                file.Save(times, "SeqInfo_" + name + "_TimeValues");
        }
    });
}

std::string namesFile()
{
    return madeOnce("names.svbin", [](SVDataFile& file) {
        for (int v = 0; v < 1'000'000; ++v) {
            file.Save("Real Number", "Seq_v" + std::to_string(v));
            file.Save(1.0 * v, "v" + std::to_string(v));
        }
    });
}

void list(benchmark::State& state, bool timesOneByOne)
{
    const std::string path = seriesFile(timesOneByOne);
    for (auto _ : state)
        benchmark::DoNotOptimize(KRDataFile::openFileName(path)->variablesNames());
}

void scan(benchmark::State& state, bool timesOneByOne)
{
    const auto file = KRDataFile::openFileName(seriesFile(timesOneByOne));
    for (auto _ : state)
        benchmark::DoNotOptimize(KRVariableInformation::computeInformationFromFile(file));
}

BENCHMARK_CAPTURE(list, timesInLists, false)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(5);
BENCHMARK_CAPTURE(scan, timesInLists, false)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(5);
BENCHMARK_CAPTURE(list, timesOneByOne, true)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(5);
BENCHMARK_CAPTURE(scan, timesOneByOne, true)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(5);

// Also tells the memory of each of a million variables.
void scanManyNames(benchmark::State& state)
{
    const auto file = KRDataFile::openFileName(namesFile());
    for (auto _ : state) {
        const auto before = mallinfo2().uordblks + mallinfo2().hblkhd;
        const auto information = KRVariableInformation::computeInformationFromFile(file);
        state.counters["bytes/variable"] =
            static_cast<double>(mallinfo2().uordblks + mallinfo2().hblkhd - before) / 1e6;
    }
}
BENCHMARK(scanManyNames)->Unit(benchmark::kMillisecond)->Iterations(1);

} // namespace

int main(int argc, char** argv)
{
    return runBenchmarks(argc, argv);
}
