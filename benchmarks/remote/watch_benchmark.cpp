// What following a batch of 10,000 runs costs this machine: how long one turn of the main loop lasts while a
// look goes over all of them, and the memory of the process.

#include "ProcessFacts.h"
#include "apps/composition/Composition.h"
#include "platform/plist/PropertyList.h"
#include "remote/FarCluster.h"
#include "remote/cluster/SVTrelkindEngineLSF.h"
#include "task/application/KRTrelkindApplication.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <fstream>
#include <mutex>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using platform::Value;

constexpr int kRuns = 10000;
constexpr const char* kUuid = "01234567-89AB-CDEF-0123-456789ABCDEF";

// Knocks at the main loop every millisecond and measures how long it takes to answer.
class LoopWatch {
public:
    ~LoopWatch() { thread_.join(); }
    // The answers' times in milliseconds, in order of size.
    std::vector<double> end()
    {
        ends_ = true;
        platform::MainLoop::main().runUntil([this] { return hasEnded_.load(); });
        std::sort(held_.begin(), held_.end());
        return held_;
    }

private:
    void knock()
    {
        while (!ends_) {
            const auto asked = Clock::now();
            platform::MainLoop::main().postAndWait([] {});
            held_.push_back(std::chrono::duration<double, std::milli>(Clock::now() - asked).count());
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        hasEnded_ = true;
    }

    std::vector<double> held_;
    std::atomic<bool> ends_ = false;
    std::atomic<bool> hasEnded_ = false;
    std::thread thread_{[this] { knock(); }};
};

double megabytesNow()
{
    return factOf("/proc/self/smaps_rollup", "Pss") / 1024;
}

// A batch that was submitted, with every run at work on the cluster.
void makeBatch(const FarCluster& cluster)
{
    const std::string wrapper = cluster.wrapper();
    Value::Array entries;
    for (int run = 0; run < kRuns; ++run) {
        entries.emplace_back(Value::Dictionary{{"Time Value", 0.5 * run}});
        const std::string folder = std::to_string(run);
        writeIn(wrapper + "/" + folder, "input", "x");
        writeIn(cluster.remote() + "/" + kUuid + "/" + folder, "VTask_runStarted", "machine\n");
        writeIn(cluster.remote() + "/" + kUuid + "/" + folder, "runOutput", "step 1\n");
    }
    const auto write = [&](const char* name, Value::Dictionary content) {
        std::ignore = platform::propertylist::writeAtomically(content, wrapper + "/" + name);
    };
    write("Info.plist", {{"Entry Description", std::move(entries)}, {"InputFiles", Value::Array{"input"}}});
    writeIn(wrapper + "/MacOSX", "solver", "#!/bin/sh\n");
    write("Executable.plist", {{"Executable", "solver"}});
    Value::Dictionary batch{{BatchFile::kHost, "127.0.0.1"}, {BatchFile::kUuid, kUuid},
        {BatchFile::kUserName, platform::loginName()}, {BatchFile::kWorkFolder, cluster.remote()}};
    for (const char* flag : {BatchFile::kWorkFolderExists, BatchFile::kSourcesCopied,
             BatchFile::kExecutableExists, BatchFile::kTasksCopied, BatchFile::kRunsStarted})
        batch[flag] = "YES";
    write("Remote Machine.plist", std::move(batch));
}

void look(SVTrelkindEngineLSF& engine, const char* what)
{
    const int before = engine.numberOfLooks();
    std::ofstream("/proc/self/clear_refs") << 5; // The peak begins anew.
    LoopWatch watch;
    const auto start = Clock::now();
    engine.checkForOutput();
    platform::MainLoop::main().runUntil(
        [&] { return engine.numberOfLooks() > before && !engine.isBusy(); }, 100);
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    const auto held = watch.end();
    std::printf(
        "%-44s %.1f s; longest turn of the main loop %.1f ms, one in a thousand %.1f ms; at most %.0f MB\n",
        what, seconds, held.back(), held[held.size() * 999 / 1000],
        factOf("/proc/self/status", "VmHWM") / 1024);
}

} // namespace

int main()
{
    const auto cluster = FarCluster::start();
    if (!cluster)
        return 1;
    makeBatch(*cluster);
    const double before = megabytesNow();
    const Program program;
    KRTrelkindApplication application;
    const auto machine = KRTrelkindMachineLSF::createFromNib();
    machine->fillFromPropertyList(
        Value::Dictionary{{"User Name", platform::loginName()}, {"Machine Name", "127.0.0.1"}});
    machine->setAccess(cluster->access());
    application.machines().addControllerToEnd(machine);
    const auto start = Clock::now();
    const auto controller = application.openTaskWithName(cluster->wrapper());
    std::printf("%-44s %.2f s; %.0f MB before, %.0f MB after\n", "opening a wrapper of 10,000 runs",
        std::chrono::duration<double>(Clock::now() - start).count(), before, megabytesNow());
    auto* engine = dynamic_cast<SVTrelkindEngineLSF*>(controller->engine());
    if (!engine) {
        std::fprintf(stderr, "The batch could not be gone on with.\n");
        return 1;
    }
    platform::MainLoop::main().runUntil(
        [&] { return engine->standsStill() || (engine->numberOfLooks() > 0 && !engine->isBusy()); }, 100);
    if (const auto words = engine->standsStill()) {
        std::fprintf(stderr, "%s\n", words->c_str());
        return 1;
    }
    std::printf("%-44s %.0f MB\n", "after the first look, which brought 20,000 files", megabytesNow());
    look(*engine, "a look at 10,000 runs with nothing new");
    for (int run = 0; run < kRuns; ++run)
        writeIn(cluster->remote() + "/" + kUuid + "/" + std::to_string(run), "runOutput", "step 1\nstep 2\n");
    look(*engine, "a look at 10,000 runs with new output");
    controller->windowShouldClose();
}
