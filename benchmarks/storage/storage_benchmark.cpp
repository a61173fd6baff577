// What a user waits for when the application opens, follows, reads and copies data files, each beside its
// yardstick in the same run.

#include "BenchmarkMain.h"
#include "datafile/SVDataFile.h"
#include "storage/formats/KRDataFileAscii.h"
#include "storage/formats/KRDataFileBinary.h"

#include <benchmark/benchmark.h>

#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

namespace {

// A folder that goes with its owner. TMPDIR chooses the disk.
class Folder {
public:
    Folder()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "storage-benchmark-XXXXXX").string();
        path_ = mkdtemp(pattern.data());
    }
    ~Folder() { std::filesystem::remove_all(path_); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

const Folder& folder()
{
    static const Folder folder;
    return folder;
}

std::string nameOf(int i)
{
    return "number_" + std::to_string(i);
}

// Made once: a million named numbers, with and without an index block.
const std::string& numbersFile(int count, bool indexed)
{
    static const auto make = [](int howMany, bool withIndex) {
        const std::string path = folder() / (withIndex ? "indexed.svbin" : "numbers.svbin");
        SVDataFile file(path, SVFile::NewReadWrite);
        for (int i = 0; i < howMany; ++i)
            file.Save(static_cast<double>(i), nameOf(i));
        if (withIndex)
            file.SaveIndex();
        return path;
    };
    static const std::string plain = make(count, false);
    static const std::string withIndex = make(count, true);
    return indexed ? withIndex : plain;
}

constexpr int kNumbers = 1'000'000;

void listByLibrary(benchmark::State& state, bool indexed)
{
    const std::string& path = numbersFile(kNumbers, indexed);
    for (auto _ : state) {
        const SVDataFile file(path, SVFile::ReadOnly);
        if (!file.Contains(nameOf(kNumbers - 1)))
            state.SkipWithError("a number is missing");
    }
}

void listByApplication(benchmark::State& state, bool indexed)
{
    const std::string& path = numbersFile(kNumbers, indexed);
    double perEntry = 0;
    for (auto _ : state) {
        const std::size_t before = mallinfo2().uordblks;
        const auto file = KRDataFile::openFileName(path);
        perEntry = static_cast<double>(mallinfo2().uordblks - before) / kNumbers;
        if (!file->contains(nameOf(kNumbers - 1)))
            state.SkipWithError("a number is missing");
    }
    state.counters["bytes/entry"] = perEntry; // The name's bytes among them.
}

BENCHMARK_CAPTURE(listByLibrary, scan, false)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(5);
BENCHMARK_CAPTURE(listByApplication, scan, false)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1)
    ->Repetitions(5);
BENCHMARK_CAPTURE(listByLibrary, index, true)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(5);
BENCHMARK_CAPTURE(listByApplication, index, true)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1)
    ->Repetitions(5);

// A new number in a sparse file of 10 GB with 100,000 entries: what is new alone may cost anything.
void followALargeFile(benchmark::State& state)
{
    constexpr int kEntries = 100'000;
    constexpr std::int64_t kData = 100'000; // Bytes of an entry.
    const std::string path = folder() / "large.svbin";
    {
        SVDataFile(path, SVFile::NewReadWrite).Save(0.0, "first");
        std::FILE* const file = std::fopen(path.c_str(), "r+b");
        std::fseek(file, 0, SEEK_END);
        for (int i = 0; i < kEntries; ++i) {
            const std::string name = nameOf(i);
            const auto nameLength = static_cast<int>(name.size()) + 1;
            unsigned char header[28];
            const std::int64_t size = 28 + nameLength + kData;
            const std::int32_t fields[] = {12, static_cast<std::int32_t>(kData), 1, 1, nameLength};
            std::memcpy(header, &size, sizeof size);
            std::memcpy(header + 8, fields, sizeof fields);
            std::fwrite(header, 1, sizeof header, file);
            std::fwrite(name.c_str(), 1, static_cast<std::size_t>(nameLength), file);
            std::fseek(file, kData, SEEK_CUR);
        }
        const long end = std::ftell(file);
        std::fclose(file);
        std::filesystem::resize_file(path, static_cast<std::uintmax_t>(end));
    }
    const auto file = KRDataFile::openFileName(path);
    const auto writer = KRDataFileBinary::createWithName(path);
    writer->openFileWithProgress();
    int number = 0;
    for (auto _ : state) {
        state.PauseTiming();
        writer->writeNumber(StorageNumber(1.0), "new_" + std::to_string(number++));
        state.ResumeTiming();
        if (file->updateFile() != 1)
            state.SkipWithError("the number isn't seen");
    }
    std::filesystem::remove(path);
}
BENCHMARK(followALargeFile)->Unit(benchmark::kMicrosecond);

// A thousand arrays of 1 MB, into fresh memory on both sides.
constexpr int kArrays = 1000;
constexpr long kFloats = 250'000;

const std::string& arraysFile()
{
    static const std::string path = [] {
        const std::string name = folder() / "arrays.svbin";
        const auto file = KRDataFile::openNewFileWithName(name);
        const auto array = KRFloatArrayContainer::createArrayOfSizeM(kFloats, 1);
        array->setAllValues(1);
        for (int i = 0; i < kArrays; ++i)
            file->writeFloatArray(array, nameOf(i));
        return name;
    }();
    return path;
}

void setBytes(benchmark::State& state, std::int64_t bytes)
{
    state.SetBytesProcessed(state.iterations() * bytes);
}

void readByFread(benchmark::State& state)
{
    std::FILE* const file = std::fopen(arraysFile().c_str(), "rb");
    for (auto _ : state) {
        std::fseek(file, 24, SEEK_SET);
        for (int i = 0; i < kArrays; ++i) {
            auto* const block = static_cast<char*>(std::malloc(kFloats * sizeof(float)));
            if (std::fread(block, 1, kFloats * sizeof(float), file) == 0)
                state.SkipWithError("nothing is read");
            benchmark::DoNotOptimize(block[0]);
            std::free(block);
        }
    }
    std::fclose(file);
    setBytes(state, kArrays * kFloats * 4);
}
BENCHMARK(readByFread)->Unit(benchmark::kMillisecond);

template <class Read>
void readArrays(benchmark::State& state, Read read)
{
    const auto file = KRDataFile::openFileName(arraysFile());
    for (auto _ : state)
        for (int i = 0; i < kArrays; ++i) {
            const auto array = read(*file, nameOf(i));
            benchmark::DoNotOptimize(array->constPointer()[0]);
        }
    setBytes(state, kArrays * kFloats * 4);
}
void readAsStored(benchmark::State& state)
{
    readArrays(state, [](KRDataFile& file, const std::string& name) { return file.readFloatArray(name); });
}
void readFloatsAsDoubles(benchmark::State& state)
{
    readArrays(state, [](KRDataFile& file, const std::string& name) { return file.readDoubleArray(name); });
}
BENCHMARK(readAsStored)->Unit(benchmark::kMillisecond);

// The yardstick of the conversion: memory of the size of the doubles is copied into fresh memory.
void copyOfDoubles(benchmark::State& state)
{
    const std::vector<double> numbers(kFloats, 1.0);
    for (auto _ : state)
        for (int i = 0; i < kArrays; ++i) {
            auto* const block = static_cast<double*>(std::malloc(kFloats * sizeof(double)));
            std::memcpy(block, numbers.data(), kFloats * sizeof(double));
            benchmark::DoNotOptimize(block[0]);
            std::free(block);
        }
    setBytes(state, kArrays * kFloats * 4);
}
BENCHMARK(copyOfDoubles)->Unit(benchmark::kMillisecond);
BENCHMARK(readFloatsAsDoubles)->Unit(benchmark::kMillisecond);

// Copies of that file.
void copyByCp(benchmark::State& state)
{
    const std::string command = "cp --reflink=never '" + arraysFile() + "' '" + folder() / "copy" + "'";
    for (auto _ : state) {
        if (std::system(command.c_str()) != 0)
            state.SkipWithError("cp failed");
        state.PauseTiming();
        std::filesystem::remove(folder() / "copy");
        state.ResumeTiming();
    }
    setBytes(state, kArrays * kFloats * 4);
}
void copyByApplication(benchmark::State& state, bool allowLink)
{
    const auto file = KRDataFile::openFileName(arraysFile());
    for (auto _ : state) {
        if (!file->copyInto(folder() / "copy", {}, allowLink))
            state.SkipWithError("the copy failed");
        state.PauseTiming();
        std::filesystem::remove(folder() / "copy");
        state.ResumeTiming();
    }
    setBytes(state, kArrays * kFloats * 4);
}
BENCHMARK(copyByCp)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(copyByApplication, bytes, false)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(copyByApplication, link, true)->Unit(benchmark::kMillisecond)->UseRealTime();

// Numbers from text.
constexpr int kTextNumbers = 1'000'000;

const std::string& textFile()
{
    static const std::string path = [] {
        const std::string name = folder() / "numbers.ascii";
        const auto file = KRDataFileAscii::createWithName(name);
        const auto array = KRDoubleArrayContainer::createArrayOfLength(kTextNumbers);
        for (int i = 0; i < kTextNumbers; ++i)
            array->mutablePointer()[i] = 1.0 / (i + 1);
        file->writeDoubleArray(array, "x");
        return name;
    }();
    return path;
}

void textByFscanf(benchmark::State& state)
{
    for (auto _ : state) {
        std::FILE* const file = std::fopen(textFile().c_str(), "r");
        char word[16];
        int shape = 0;
        bool read = std::fscanf(file, "%15s %15s %d %*d %*d", word, word, &shape) == 3;
        std::vector<double> numbers(static_cast<std::size_t>(shape));
        for (double& number : numbers)
            read = read && std::fscanf(file, "%lg", &number) == 1;
        std::fclose(file);
        if (!read)
            state.SkipWithError("a number isn't read");
    }
    setBytes(state, static_cast<std::int64_t>(std::filesystem::file_size(textFile())));
}
void textByApplication(benchmark::State& state)
{
    const auto file = KRDataFile::openFileName(textFile());
    for (auto _ : state)
        if (!file->readDoubleArray("x"))
            state.SkipWithError("the array isn't read");
    setBytes(state, static_cast<std::int64_t>(std::filesystem::file_size(textFile())));
}
BENCHMARK(textByFscanf)->Unit(benchmark::kMillisecond);
BENCHMARK(textByApplication)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    return runBenchmarks(argc, argv);
}
