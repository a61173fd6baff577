// A group and a series of 1,000 fields of 8 MB each: what opening them reads, and the memory of a walk
// through all of them, beside reading the same bytes into one buffer. The files are sparse.

#include "BenchmarkMain.h"
#include "ProcessFacts.h"
#include "datafile/SVDataFile.h"
#include "storage/KRDataFile.h"
#include "variables/composites/KRContainerGroup.h"
#include "variables/composites/KRContainerSeries.h"
#include "variables/composites/ValueTypes.h"
#include "variables/values/KRContainerArray.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

constexpr int kFields = 1000;
constexpr std::int32_t kSide = 1000; // Of a square of doubles.
constexpr std::int64_t kBytesOfField = std::int64_t{kSide} * kSide * 8;
constexpr double kMega = 1e6;

double bytesRead()
{
    return factOf("/proc/self/io", "rchar");
}

double peakOfMemory()
{
    return factOf("/proc/self/status", "VmHWM") * 1024;
}

void beginPeakAnew()
{
    std::ofstream("/proc/self/clear_refs") << 5;
}

// Appends an entry whose data are a hole.
void appendField(int file, const std::string& name)
{
    std::string head;
    const auto put = [&head](
                         auto number) { head.append(reinterpret_cast<const char*>(&number), sizeof number); };
    const auto length = static_cast<std::int32_t>(name.size()) + 1;
    put(std::int64_t{28} + length + kBytesOfField);
    for (const std::int32_t number : {1, kSide, kSide, 1, length})
        put(number);
    head.append(name.c_str(), name.size() + 1);
    const bool written = write(file, head.data(), head.size()) == static_cast<ssize_t>(head.size());
    if (!written || ftruncate(file, lseek(file, kBytesOfField, SEEK_CUR)) != 0)
        std::abort();
}

// The file with both, which goes with the process. TMPDIR chooses the disk.
class Fields {
public:
    Fields()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "fields-benchmark-XXXXXX").string();
        folder_ = mkdtemp(pattern.data());
        {
            SVDataFile file(path(), SVFile::NewReadWrite);
            file.Save("Group", "Seq_g");
            file.Save("Series", "Seq_s");
            file.Save("Array", "SeqInfo_s_type");
            file.Save(kFields, "SeqInfo_g_N");
            SVMutableDoubleArray times(kFields);
            for (int k = 0; k < kFields; ++k) {
                times(k) = k;
                file.Save(std::to_string(k), "SeqInfo_g_" + std::to_string(k + 1) + "N");
                file.Save("Array", "SeqInfo_g_" + std::to_string(k + 1) + "T");
            }
            file.Save(times, "SeqInfo_s_TimeValues");
        }
        const int file = open(path().c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
        lseek(file, 0, SEEK_END);
        for (const char* base : {"g_", "s_"})
            for (int k = 0; k < kFields; ++k)
                appendField(file, base + std::to_string(k));
        close(file);
    }
    ~Fields() { std::filesystem::remove_all(folder_); }
    Fields(const Fields&) = delete;
    Fields& operator=(const Fields&) = delete;
    std::string path() const { return folder_ + "/fields.svbin"; }

private:
    std::string folder_;
};

const std::string& fields()
{
    static const Fields made;
    static const std::string path = made.path();
    return path;
}

template <class Kind>
std::shared_ptr<const Kind> valueNamed(const char* type, const std::string& name, const std::string& path)
{
    static const bool added = (variables::addValueTypes(), true);
    benchmark::DoNotOptimize(added);
    const auto file = KRDataFile::openFileName(path);
    return std::dynamic_pointer_cast<const Kind>(ReadingOperations::read(type, *file, name));
}

std::shared_ptr<const KRContainerGroup> openedGroup()
{
    return valueNamed<KRContainerGroup>("Group", "g", fields());
}

std::shared_ptr<const KRContainerSeries> openedSeries()
{
    return valueNamed<KRContainerSeries>("Series", "s", fields());
}

// One step of a benchmark with what it reads and the most memory of the process during it.
template <class Step>
void measured(benchmark::State& state, Step step)
{
    for (auto _ : state) {
        state.PauseTiming();
        beginPeakAnew();
        const double before = bytesRead();
        state.ResumeTiming();
        step();
        state.PauseTiming();
        state.counters["MB read"] = (bytesRead() - before) / kMega;
        state.counters["peak MB"] = peakOfMemory() / kMega;
        state.ResumeTiming();
    }
}

void list(benchmark::State& state)
{
    fields();
    measured(state, [] { benchmark::DoNotOptimize(KRDataFile::openFileName(fields())->variablesNames()); });
}

void openGroup(benchmark::State& state)
{
    measured(state, [] { benchmark::DoNotOptimize(openedGroup()); });
}

void openSeries(benchmark::State& state)
{
    measured(state, [] { benchmark::DoNotOptimize(openedSeries()); });
}

void readInOneBuffer(benchmark::State& state)
{
    const int file = open(fields().c_str(), O_RDONLY | O_CLOEXEC);
    measured(state, [file] {
        std::vector<char> buffer(kBytesOfField);
        for (std::int64_t k = 0; k < kFields; ++k)
            benchmark::DoNotOptimize(pread(file, buffer.data(), buffer.size(), k * kBytesOfField));
    });
    close(file);
}

void mustBeField(const KRContainer::Value& value)
{
    const auto* array = dynamic_cast<const KRContainerArray*>(value.get());
    if (!array || array->length() != std::int64_t{kSide} * kSide)
        std::abort();
}

void walkGroup(benchmark::State& state)
{
    const auto group = openedGroup();
    measured(state, [&] {
        for (const std::string& name : group->groupStructure()->groupNames())
            mustBeField(group->valueForEntry(name));
    });
}

void walkSeries(benchmark::State& state)
{
    const auto series = openedSeries();
    measured(state, [&] {
        for (long k = 0; k < series->howManyTimes(); ++k)
            mustBeField(series->valueForStep(k));
    });
}

BENCHMARK(list)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(3);
BENCHMARK(openGroup)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(3);
BENCHMARK(openSeries)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(3);
BENCHMARK(readInOneBuffer)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(3);
BENCHMARK(walkGroup)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(3);
BENCHMARK(walkSeries)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(3);

} // namespace

int main(int argc, char** argv)
{
    return runBenchmarks(argc, argv);
}
