// Whole batches: how much longer they take than the schedule of polls dictates, and what following them
// costs.

#include "BenchmarkMain.h"
#include "ProcessFacts.h"

#include "platform/files/FileManager.h"
#include "platform/files/Places.h"
#include "platform/loop/MainLoop.h"
#include "platform/plist/PropertyList.h"
#include "task/application/KRTrelkindController.h"
#include "task/engine/SVTrelkindEngineLocal.h"

#include <cstdlib>
#include <string>
#include <tuple>

namespace {

namespace files = platform::files;
using platform::Value;

class Batch {
public:
    Batch(int tasks, const std::string& program)
    {
        char name[] = "/tmp/trelkind-bench-XXXXXX";
        root_ = mkdtemp(name);
        path_ = root_ + "/Batch.vtask";
        platform::Places::setRoot(root_ + "/places");
        std::ignore = files::createDirectories(path_ + "/MacOSX");
        std::ignore = files::writeFile(path_ + "/MacOSX/program", program);
        std::ignore = files::setPermissions(path_ + "/MacOSX/program", 0755);
        for (int i = 0; i < tasks; ++i)
            std::ignore = files::createDirectory(path_ + "/" + std::to_string(i));
        std::ignore = platform::propertylist::writeAtomically(
            Value::Dictionary{{"Executable", "program"}}, path_ + "/Executable.plist");
        std::ignore = platform::propertylist::writeAtomically(
            Value::Dictionary{
                {"Entry Description", Value::Array(static_cast<std::size_t>(tasks), Value::Dictionary())}},
            path_ + "/Info.plist");
    }
    ~Batch() { std::ignore = files::remove(root_); }
    Batch(const Batch&) = delete;
    Batch& operator=(const Batch&) = delete;

    void run(int concurrency)
    {
        const auto controller = KRTrelkindController::createFromWrapperName(path_);
        controller->startLocalTask();
        const auto held = controller->engine()->shared_from_this();
        auto& engine = static_cast<SVTrelkindEngineLocal&>(*held);
        engine.panel().concurrency.setStringValue(std::to_string(concurrency));
        engine.changeConcurrency(engine.panel().concurrency);
        const auto frames = platform::Timer::schedule(
            0.5, platform::Timer::Repeats::Yes, [&engine] { engine.updateStatus(); });
        engine.startTasks();
        platform::MainLoop::main().runUntil(
            [&] { return !engine.isRunning() && engine.whichTasksAreRunning().empty(); }, 1e6);
    }

private:
    std::string root_;
    std::string path_;
};

// A program that ends at once is seen at the first poll, 0.2 seconds after its launch; four at a time, 400
// take 20 s.
void run400ShortTasks(benchmark::State& state)
{
    Batch batch(400, "#!/bin/sh\n");
    for (auto _ : state) {
        const double start = platform::monotonicSeconds();
        batch.run(4);
        const double took = platform::monotonicSeconds() - start;
        state.SetIterationTime(took);
        state.counters["schedule_s"] = 20.0;
        state.counters["over_schedule"] = took / 20.0 - 1;
    }
}
BENCHMARK(run400ShortTasks)->Iterations(1)->UseManualTime()->Unit(benchmark::kSecond);

void follow32RunningTasks(benchmark::State& state)
{
    Batch batch(32, "#!/bin/sh\nexec sleep 30\n");
    for (auto _ : state) {
        const double start = platform::monotonicSeconds();
        const double before = ownProcessorSeconds();
        batch.run(32);
        state.counters["share_of_a_core"] =
            (ownProcessorSeconds() - before) / (platform::monotonicSeconds() - start);
    }
}
BENCHMARK(follow32RunningTasks)->Iterations(1)->UseRealTime()->Unit(benchmark::kSecond);

} // namespace

int main(int argc, char** argv)
{
    platform::MainLoop::main();
    return runBenchmarks(argc, argv);
}
