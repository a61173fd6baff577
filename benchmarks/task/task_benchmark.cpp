// What a user waits for when a large wrapper is opened or followed, beside a bare loop of the same system
// calls.

#include "BenchmarkMain.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/files/FileManager.h"
#include "platform/files/Places.h"
#include "platform/loop/MainLoop.h"
#include "platform/plist/PropertyList.h"
#include "task/application/KRTrelkindController.h"

#include <cstdlib>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>

namespace {

namespace files = platform::files;
using platform::Value;

// A wrapper whose tasks stand in the four states in turn: waiting, running, done, aborted.
class Wrapper {
public:
    explicit Wrapper(int tasks, bool allRunning = false)
    {
        char name[] = "/tmp/trelkind-bench-XXXXXX";
        root_ = mkdtemp(name);
        path_ = root_ + "/Large.vtask";
        std::ignore = files::createDirectory(path_);
        platform::Places::setRoot(root_ + "/places");
        Value::Array entries;
        for (int i = 0; i < tasks; ++i) {
            const std::string folder = path_ + "/" + std::to_string(i);
            std::ignore = files::createDirectory(folder);
            const int state = allRunning ? 1 : i % 4;
            if (state != 0)
                std::ignore = files::writeFile(folder + "/VTask_runStarted", "");
            if (state == 1)
                std::ignore = files::writeFile(
                    folder + "/SVProgress", std::string(static_cast<std::size_t>(i % 100), '.'));
            if (state == 2)
                std::ignore = files::writeFile(folder + "/VTask_runCompleted", "host\n");
            if (state == 3)
                std::ignore = files::writeFile(folder + "/VTask_aborted", "");
            entries.emplace_back(
                Value::Dictionary{{"Argument", "--seed " + std::to_string(i)}, {"Time Value", 0.5 * i}});
        }
        std::ignore = platform::propertylist::writeAtomically(
            Value::Dictionary{{"Entry Description", std::move(entries)}}, path_ + "/Info.plist");
    }
    ~Wrapper() { std::ignore = files::remove(root_); }
    Wrapper(const Wrapper&) = delete;
    Wrapper& operator=(const Wrapper&) = delete;
    const std::string& path() const { return path_; }

private:
    std::string root_;
    std::string path_;
};

const Wrapper& largeWrapper()
{
    static const Wrapper wrapper(10000);
    return wrapper;
}

constexpr const char* kNames[] = {
    "/VTask_runStarted", "/VTask_runCompleted", "/VTask_aborted", "/SVProgress"};

long residentKilobytes()
{
    std::ifstream statm("/proc/self/statm");
    long pages = 0;
    long resident = 0;
    statm >> pages >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

void bareStatCalls(benchmark::State& state)
{
    const std::string path = largeWrapper().path();
    for (auto _ : state) {
        long found = 0;
        for (int i = 0; i < 10000; ++i) {
            const std::string folder = path + "/" + std::to_string(i);
            for (const char* name : kNames) {
                struct stat info { };
                found += stat((folder + name).c_str(), &info) == 0;
            }
        }
        benchmark::DoNotOptimize(found);
    }
}
BENCHMARK(bareStatCalls)->Unit(benchmark::kMillisecond);

void openWrapperOf10000(benchmark::State& state)
{
    const std::string path = largeWrapper().path();
    for (auto _ : state) {
        const auto controller = KRTrelkindController::createFromWrapperName(path);
        if (controller->taskInformation().size() != 10000)
            state.SkipWithError("the wrapper was not read");
        state.PauseTiming();
        controller->windowShouldClose();
        platform::MainLoop::main().runPending();
        state.ResumeTiming();
    }
}
BENCHMARK(openWrapperOf10000)->Unit(benchmark::kMillisecond);

void memoryOf10000Tasks(benchmark::State& state)
{
    const std::string path = largeWrapper().path();
    for (auto _ : state) {
        const auto controller = KRTrelkindController::createFromWrapperName(path);
        state.counters["process_MB"] = static_cast<double>(residentKilobytes()) / 1024;
    }
}
BENCHMARK(memoryOf10000Tasks)->Iterations(1)->Unit(benchmark::kMillisecond);

void statusPassOver1000RunningTasks(benchmark::State& state)
{
    static const Wrapper wrapper(1000, true);
    const auto controller = KRTrelkindController::createFromWrapperName(wrapper.path());
    for (auto _ : state)
        for (const auto& task : controller->taskInformation())
            task->updateBasedOnContent();
}
BENCHMARK(statusPassOver1000RunningTasks)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    platform::MainLoop::main();
    describeMachine();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
