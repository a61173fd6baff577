// The transfers of a batch of 1,000 runs over a line with 25 ms each way, beside rsync on the same files, in
// the same run: its input, a look with nothing new, what two new files in each folder cost, and one large
// file that has grown.

#include "platform/files/Paths.h"
#include "remote/FarCluster.h"
#include "remote/cluster/BatchUpload.h"
#include "remote/cluster/SVCopyUsingSCPFromLocal.h"
#include "remote/cluster/SVSCPCopyFromFolders.h"

#include <cstdio>
#include <fstream>
#include <functional>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
using platform::paths::appending;

constexpr int kRuns = 1000;
constexpr std::int64_t kMega = 1 << 20;

double seconds(const std::function<bool()>& work)
{
    const auto start = Clock::now();
    return work() ? std::chrono::duration<double>(Clock::now() - start).count() : -1;
}

// Runs an operation on a thread as a queue does, and serves the main loop meanwhile.
bool perform(ClusterOperation& operation)
{
    std::atomic<bool> ended = false;
    std::thread thread([&] {
        operation.main();
        ended = true;
    });
    platform::MainLoop::main().runUntil([&] { return ended.load(); });
    thread.join();
    if (operation.error())
        std::fprintf(stderr, "%s\n", operation.error()->c_str());
    return !operation.error();
}

bool rsync(const FarCluster& setting, const std::string& from, const std::string& to)
{
    return support::run({"rsync", "-a", "-e", setting.shell(), from, to}) == 0;
}

void report(const char* what, double ours, double theirs)
{
    std::printf("%-44s ours %6.2f s   rsync -a %6.2f s\n", what, ours, theirs);
    std::fflush(stdout);
}

bool look(const FarCluster& setting, const std::string& batch, int runs)
{
    std::vector<std::string> folders;
    for (int run = 0; run < runs; ++run)
        folders.push_back(std::to_string(run));
    SVSCPCopyFromFolders operation(setting.login(), folders, appending(setting.remote(), batch),
        setting.wrapper(), {"solver"},
        {[](const auto&) {}, [](const auto&, const auto&, const auto&) {}, [](auto&) {}});
    return perform(operation);
}

void measure(const FarCluster& setting)
{
    const std::string host = platform::loginName() + "@127.0.0.1:";
    std::vector<int> runs;
    for (int run = 0; run < kRuns; ++run) {
        runs.push_back(run);
        for (const char* name : {"mesh", "parameters", "start"})
            writeIn(appending(setting.wrapper(), std::to_string(run)), name, support::randomText(2000));
    }
    report("input of 1,000 runs", seconds([&] {
        SVCopyUsingSCPFromLocal operation(
            [&] {
                return batchupload::input(
                    batchupload::Kind::Batch, setting.wrapper(), setting.remote(), "batch", "solver", runs);
            },
            setting.login(), nullptr, nullptr);
        return perform(operation) && operation.success();
    }),
        seconds(
            [&] { return rsync(setting, setting.wrapper() + "/", host + setting.remote() + "/theirs/"); }));

    for (const int run : runs)
        for (const char* name : {"VTask_runStarted", "results"}) {
            writeIn(setting.remote() + "/batch/" + std::to_string(run), name, support::randomText(100));
            writeIn(appending(setting.wrapper(), std::to_string(run)), name, support::randomText(100));
        }
    const std::string theirs = setting.folder / "theirs-here";
    rsync(setting, host + setting.remote() + "/batch/", theirs + "/");
    const auto lookBoth = [&](const char* what) {
        const double ours = seconds([&] { return look(setting, "batch", kRuns); });
        report(what, ours,
            seconds([&] { return rsync(setting, host + setting.remote() + "/batch/", theirs + "/"); }));
    };
    lookBoth("a look at 1,000 runs with nothing new");
    for (const int run : runs)
        for (const char* name : {"field.svbin", "runOutput"})
            writeIn(setting.remote() + "/batch/" + std::to_string(run), name, support::randomText(50000));
    lookBoth("2 new files of 50 kB in each of 1,000 runs");
}

// One run with a file of 1 GB, most of it without blocks on the disk, that grows by 1 MB.
void measureGrowth(const FarCluster& setting)
{
    const std::string remote = setting.remote() + "/long";
    writeIn(remote + "/0", "VTask_runStarted", "machine\n");
    writeIn(remote + "/0", "field", "");
    const std::string there = remote + "/0/field";
    const std::string here = appending(setting.wrapper(), "0/field");
    std::filesystem::resize_file(there, 1024 * kMega);
    writeIn(appending(setting.wrapper(), "0"), "field", "");
    std::filesystem::resize_file(here, 1024 * kMega);
    const auto lookOnce = [&] { return seconds([&] { return look(setting, "long", 1); }); };
    lookOnce(); // Signs in.
    const double without = lookOnce();
    std::ofstream(there, std::ios::app) << support::randomText(kMega);
    const std::int64_t before = setting.line->bytes();
    const double with = lookOnce();
    const double roundTrip = 2 * std::chrono::duration<double>(FarCluster::kDelay).count();
    std::printf("%-44s %.3f s, %.3f s with nothing new: %.1f round trips more; %.2f MB over the line\n",
        "a file of 1 GB that has grown by 1 MB", with, without, (with - without) / roundTrip,
        static_cast<double>(setting.line->bytes() - before) / static_cast<double>(kMega));
    if (std::filesystem::file_size(here) != 1025 * kMega)
        std::printf("  and it has not come whole\n");
}

} // namespace

int main()
{
    const auto setting = FarCluster::start();
    if (!setting)
        return 1;
    measureGrowth(*setting);
    std::filesystem::remove_all(setting->wrapper());
    measure(*setting);
}
