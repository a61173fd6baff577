// The transfers of a batch of 1,000 runs over a line with 25 ms each way, beside rsync on the same files, in
// the same run: its input, a look with nothing new, and what two new files in each folder cost.

#include "platform/ProcessInfo.h"
#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"
#include "platform/files/Places.h"
#include "platform/loop/MainLoop.h"
#include "remote/cluster/BatchUpload.h"
#include "remote/cluster/SVCopyUsingSCPFromLocal.h"
#include "remote/cluster/SVSCPCopyFromFolders.h"
#include "ssh/Relay.h"
#include "ssh/Support.h"

#include <cstdio>
#include <filesystem>
#include <functional>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
using platform::paths::appending;

constexpr int kRuns = 1000;
constexpr auto kDelay = std::chrono::milliseconds(25);

struct Setting {
    support::TemporaryFolder folder;
    std::unique_ptr<support::RealServer> server;
    std::unique_ptr<Relay> line;
    SVSSHPasswordInfo::Pointer login;

    std::string wrapper() const { return folder / "Batch.vtask"; }
    std::string remote() const { return folder / "cluster"; }
    std::string shell() const
    {
        return "ssh -F none -p " + std::to_string(line->port()) + " -i " + (folder / "key")
            + " -o UserKnownHostsFile=" + (folder / "theirs")
            + " -o StrictHostKeyChecking=no -o IdentityAgent=none -o LogLevel=ERROR";
    }
};

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

bool rsync(const Setting& setting, const std::string& from, const std::string& to)
{
    return support::run({"rsync", "-a", "-e", setting.shell(), from, to}) == 0;
}

void write(const std::string& folder, const std::string& name, std::size_t size)
{
    std::filesystem::create_directories(folder);
    support::writeFile(appending(folder, name), support::randomText(size));
}

void report(const char* what, double ours, double theirs)
{
    std::printf("%-44s ours %6.2f s   rsync -a %6.2f s\n", what, ours, theirs);
    std::fflush(stdout);
}

bool look(const Setting& setting)
{
    std::vector<std::string> folders;
    for (int run = 0; run < kRuns; ++run)
        folders.push_back(std::to_string(run));
    SVSCPCopyFromFolders operation(setting.login, folders, appending(setting.remote(), "batch"),
        setting.wrapper(), {"solver"},
        {[](const auto&) {}, [](const auto&, const auto&, const auto&) {}, [](auto&) {}});
    return perform(operation);
}

void measure(const Setting& setting)
{
    const std::string host = platform::loginName() + "@127.0.0.1:";
    std::vector<int> runs;
    for (int run = 0; run < kRuns; ++run) {
        runs.push_back(run);
        for (const char* name : {"mesh", "parameters", "start"})
            write(appending(setting.wrapper(), std::to_string(run)), name, 2000);
    }
    std::filesystem::create_directories(setting.remote());
    report("input of 1,000 runs", seconds([&] {
        SVCopyUsingSCPFromLocal operation(
            [&] {
                return batchupload::input(
                    batchupload::Kind::Batch, setting.wrapper(), setting.remote(), "batch", "solver", runs);
            },
            setting.login, nullptr, nullptr);
        return perform(operation) && operation.success();
    }),
        seconds(
            [&] { return rsync(setting, setting.wrapper() + "/", host + setting.remote() + "/theirs/"); }));

    for (const int run : runs)
        for (const char* name : {"VTask_runStarted", "results"}) {
            write(setting.remote() + "/batch/" + std::to_string(run), name, 100);
            write(appending(setting.wrapper(), std::to_string(run)), name, 100);
        }
    const std::string theirs = setting.folder / "theirs-here";
    rsync(setting, host + setting.remote() + "/batch/", theirs + "/");
    const auto lookBoth = [&](const char* what) {
        const double ours = seconds([&] { return look(setting); });
        report(what, ours,
            seconds([&] { return rsync(setting, host + setting.remote() + "/batch/", theirs + "/"); }));
    };
    lookBoth("a look at 1,000 runs with nothing new");
    for (const int run : runs)
        for (const char* name : {"field.svbin", "runOutput"})
            write(setting.remote() + "/batch/" + std::to_string(run), name, 50000);
    lookBoth("2 new files of 50 kB in each of 1,000 runs");
}

} // namespace

int main()
{
    platform::MainLoop::main();
    Setting setting;
    platform::Places::setRoot(setting.folder / "places");
    std::string publicLine;
    support::writeFile(setting.folder / "key", support::makeKeyText("ssh-ed25519", false, &publicLine));
    std::filesystem::permissions(setting.folder / "key", std::filesystem::perms(0600));
    setting.server = support::RealServer::openSsh(publicLine);
    if (!setting.server) {
        std::fprintf(stderr, "An OpenSSH server could not be started as an ordinary process here.\n");
        return 1;
    }
    setting.line = std::make_unique<Relay>(setting.server->port(), kDelay);
    MachineAccess access;
    access.keyFile = setting.folder / "key";
    access.port = setting.line->port();
    setting.login =
        SVSSHPasswordInfo::createWithHost("127.0.0.1", platform::loginName(), std::nullopt, access);
    measure(setting);
}
