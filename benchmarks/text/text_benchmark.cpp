// The index of a text file's lines, and numbers as text, each beside its yardstick in the same run.

#include "BenchmarkMain.h"
#include "text/files/IndexedTextFile.h"
#include "text/files/KRBigTextFile.h"
#include "text/numbers/KRNumberFormatter.h"
#include "text/strings/KRUTF8String.h"

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <vector>

namespace {

constexpr std::size_t kLineLength = 80; // Bytes, the line feed included.
constexpr std::int64_t kFileSize = 400'000'000;

// Made once, on the disk that TMPDIR names.
class TextOfLines {
public:
    TextOfLines()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "text-benchmark-XXXXXX").string();
        folder_ = mkdtemp(pattern.data());
        std::string block;
        while (block.size() < kLineLength * 10000)
            block += std::string(kLineLength - 1, 'x') + "\n";
        std::ofstream file(path(), std::ios::binary);
        for (std::int64_t written = 0; written < kFileSize;
             written += static_cast<std::int64_t>(block.size()))
            file << block;
    }
    ~TextOfLines() { std::filesystem::remove_all(folder_); }
    TextOfLines(const TextOfLines&) = delete;
    TextOfLines& operator=(const TextOfLines&) = delete;
    std::string path() const { return folder_ + "/lines"; }

private:
    std::string folder_;
};

const std::string& path()
{
    static const TextOfLines text;
    static const std::string path = text.path();
    return path;
}

void LineIndexOfFile(benchmark::State& state)
{
    const std::string& file = path();
    for (auto _ : state) {
        IndexedTextFile text(file);
        if (text.readNew(1 << 20, [] { return true; }) != GrowingFile::Read::Everything)
            std::abort();
        benchmark::DoNotOptimize(text.howManyLines());
    }
    state.SetBytesProcessed(state.iterations() * kFileSize);
}

void MemchrOverFile(benchmark::State& state)
{
    const std::string& name = path();
    const auto block = std::make_unique<char[]>(GrowingFile::kBlockSize);
    for (auto _ : state) {
        std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(name.c_str(), "rb"), std::fclose);
        std::setvbuf(file.get(), nullptr, _IONBF, 0);
        std::int64_t lines = 0;
        while (const std::size_t count = std::fread(block.get(), 1, GrowingFile::kBlockSize, file.get())) {
            const char* const end = block.get() + count;
            for (const char* at = block.get();; ++at, ++lines) {
                at = static_cast<const char*>(std::memchr(at, '\n', static_cast<std::size_t>(end - at)));
                if (!at)
                    break;
            }
        }
        benchmark::DoNotOptimize(lines);
    }
    state.SetBytesProcessed(state.iterations() * kFileSize);
}

void ThousandRowsThatJump(benchmark::State& state)
{
    IndexedTextFile text(path());
    std::ignore = text.readNew(1 << 20, [] { return true; });
    std::mt19937 random(1);
    std::uniform_int_distribution<std::int64_t> anyLine(0, text.howManyLines() - 1);
    for (auto _ : state)
        for (int i = 0; i < 1000; ++i)
            benchmark::DoNotOptimize(text.line(anyLine(random)));
}

// Ten gigabytes, until the first rows are there.
void OpensHugeFile(benchmark::State& state)
{
    const std::string huge = path() + "-huge";
    std::filesystem::copy_file(path(), huge, std::filesystem::copy_options::overwrite_existing);
    std::filesystem::resize_file(huge, 10'000'000'000);
    for (auto _ : state) {
        KRBigTextFile file;
        file.setFileName(huge);
        benchmark::DoNotOptimize(file.lineNumber(50));
    }
    std::filesystem::remove(huge);
}

const std::vector<double>& numbers()
{
    static const std::vector<double> all = [] {
        std::mt19937_64 random(1);
        std::uniform_real_distribution<double> mantissa(-10, 10);
        std::uniform_int_distribution<int> exponent(-8, 8);
        std::vector<double> made(10000);
        for (double& number : made)
            number = mantissa(random) * std::pow(10, exponent(random));
        return made;
    }();
    return all;
}

template <class Write>
void writeAll(benchmark::State& state, Write write)
{
    std::int64_t bytes = 0;
    for (auto _ : state)
        for (const double number : numbers())
            bytes += write(number);
    state.SetBytesProcessed(bytes);
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(numbers().size()));
}

void NumberFormatter(benchmark::State& state)
{
    const auto formatter = KRNumberFormatter::createWithSignificantDigits(15, true);
    std::string text;
    writeAll(state, [&](double number) {
        text.clear();
        formatter->appendNumber(number, text);
        benchmark::DoNotOptimize(text.data());
        return static_cast<std::int64_t>(text.size());
    });
}

void Snprintf(benchmark::State& state)
{
    std::array<char, 64> text{};
    writeAll(state, [&](double number) {
        const int size = std::snprintf(text.data(), text.size(), "%.15g", number);
        benchmark::DoNotOptimize(text.data());
        return std::int64_t{size};
    });
}

void Fmt(benchmark::State& state)
{
    std::array<char, 64> text{};
    writeAll(state, [&](double number) {
        const auto end = fmt::format_to(text.data(), "{:.15g}", number);
        benchmark::DoNotOptimize(text.data());
        return static_cast<std::int64_t>(end - text.data());
    });
}

void AppendDouble(benchmark::State& state)
{
    KRUTF8String text;
    writeAll(state, [&](double number) {
        if (text.length() > 1'000'000)
            text.clear();
        const std::int64_t before = text.length();
        text.appendDouble(number);
        return text.length() - before;
    });
}

void AppendUTF8ForCSV(benchmark::State& state)
{
    const std::array<std::string, 4> values{
        "plain text of a cell", "with, a comma", "a \"quoted\" word", "17.25"};
    KRUTF8String text;
    std::int64_t bytes = 0;
    for (auto _ : state) {
        text.clear();
        for (int i = 0; i < 10000; ++i) {
            const std::string& value = values[static_cast<std::size_t>(i) % values.size()];
            text.appendUTF8ForCSV(value.data(), static_cast<std::int64_t>(value.size()));
        }
        bytes += text.length();
    }
    state.SetBytesProcessed(bytes);
}

BENCHMARK(LineIndexOfFile)->Unit(benchmark::kMillisecond);
BENCHMARK(MemchrOverFile)->Unit(benchmark::kMillisecond);
BENCHMARK(ThousandRowsThatJump)->Unit(benchmark::kMillisecond);
BENCHMARK(OpensHugeFile)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(NumberFormatter);
BENCHMARK(Snprintf);
BENCHMARK(Fmt);
BENCHMARK(AppendDouble);
BENCHMARK(AppendUTF8ForCSV);

} // namespace

int main(int argc, char** argv)
{
    return runBenchmarks(argc, argv);
}
