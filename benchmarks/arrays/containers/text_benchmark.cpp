#include "arrays/containers/KRArrayTextInput.h"

#include "BenchmarkMain.h"
#include "platform/loop/MainLoop.h"

#include <cstdio>
#include <filesystem>
#include <memory>
#include <random>
#include <unistd.h>

// A table of 100 MB of text, four numbers a line, as both forms read it, beside fscanf on the same file.

namespace {

namespace fs = std::filesystem;

class TableFile {
public:
    TableFile() : path_(fs::temp_directory_path() / ("table-" + std::to_string(::getpid())))
    {
        constexpr long kSize = 100000000;
        std::FILE* const file = std::fopen(path_.c_str(), "w");
        std::mt19937_64 random(1);
        const auto number = [&] { return static_cast<double>(static_cast<std::int64_t>(random())) / 1e15; };
        while (std::ftell(file) < kSize)
            for (int line = 0; line < 1000; ++line)
                std::fprintf(file, "%.15g %.9g %.12e %.6f\n", number(), number(), number(), number());
        size_ = std::ftell(file);
        std::fclose(file);
    }
    ~TableFile() { fs::remove(path_); }
    TableFile(const TableFile&) = delete;
    TableFile& operator=(const TableFile&) = delete;

    static const TableFile& shared()
    {
        static const TableFile file;
        return file;
    }
    std::string path() const { return path_.string(); }
    long size() const { return size_; }

private:
    fs::path path_;
    long size_ = 0;
};

template <class Read>
void run(benchmark::State& state, Read read)
{
    const TableFile& file = TableFile::shared();
    for (auto _ : state)
        benchmark::DoNotOptimize(read(file.path()));
    state.SetBytesProcessed(state.iterations() * file.size());
}

template <class T>
void WholeFile(benchmark::State& state)
{
    run(state,
        [](const std::string& path) { return KRArrayTextInput<T>::readInContentFromFile(path, 0)->m(); });
}

void InPieces(benchmark::State& state)
{
    run(state, [](const std::string& path) {
        return KRArrayTextInput<double>::readInContentFromFileNew(path, 0, 0)->m();
    });
}

void List(benchmark::State& state)
{
    run(state,
        [](const std::string& path) { return KRArrayTextInput<double>::readInListFromFile(path, 0)->m(); });
}

void Fscanf(benchmark::State& state)
{
    run(state, [](const std::string& path) {
        const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
            std::fopen(path.c_str(), "r"), std::fclose);
        double number = 0, sum = 0;
        while (std::fscanf(file.get(), "%lf", &number) == 1)
            sum += number;
        return sum;
    });
}

BENCHMARK(WholeFile<double>)->Unit(benchmark::kMillisecond);
BENCHMARK(WholeFile<float>)->Unit(benchmark::kMillisecond);
BENCHMARK(InPieces)->Unit(benchmark::kMillisecond);
BENCHMARK(List)->Unit(benchmark::kMillisecond);
BENCHMARK(Fscanf)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    platform::MainLoop::main();
    return runBenchmarks(argc, argv);
}
